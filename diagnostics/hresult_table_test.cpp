// Holds the generated table against the data file that it is made from.
#include "diagnostics/hresult_table.h"

#include <gtest/gtest.h>

#include <boost/filesystem/path.hpp>
#include <map>
#include <sstream>
#include <string>

#include "tests/support/files/test_files.h"

namespace {

using namespace qv;

struct row {
    std::string name;
    std::string message;
};

// What each code shows: its first row.
std::map<std::uint32_t, row> rows_of_the_file() {
    std::istringstream file(qv::testing::read_file(qv::testing::source_root() / "diagnostics" / "hresults.tsv"));
    std::map<std::uint32_t, row> rows;
    std::string code, name, message;
    while (std::getline(file, code, '\t') && std::getline(file, name, '\t') && std::getline(file, message))
        rows.emplace(static_cast<std::uint32_t>(std::stoul(code, nullptr, 16)), row{name, message});
    return rows;
}

TEST(HresultTable, HoldsTheCodesOfTheFileAndNoOthers) {
    const auto rows = rows_of_the_file();
    EXPECT_EQ(rows.size(), 1218u + 9u);  // the runtime's and the program's own
    for (const auto& [code, entry] : rows) {
        const auto* found = detail::find_hresult(code);
        ASSERT_NE(found, nullptr) << entry.name;
        EXPECT_EQ(found->name, entry.name);
        EXPECT_EQ(found->message != nullptr ? found->message : "", entry.message) << entry.name;
        for (const auto neighbour : {code - 1, code + 1})
            EXPECT_EQ(detail::find_hresult(neighbour) != nullptr, rows.contains(neighbour)) << entry.name;
    }
}

// A message is shown as it stands: nothing fills in what another system would insert.
TEST(HresultTable, MessagesStandByThemselves) {
    for (const auto& [code, entry] : rows_of_the_file()) {
        EXPECT_EQ(entry.message.find('%'), std::string::npos) << entry.name;
        EXPECT_FALSE(entry.message.starts_with("Error:")) << entry.name;
    }
}

}  // namespace
