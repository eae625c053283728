// Holds the generated table against the data file that it is made from.
#include "diagnostics/hresult_table.h"

#include <gtest/gtest.h>

#include <boost/filesystem/path.hpp>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "diagnostics/system_message_test_support.h"
#include "qv/diagnostics/error_text.h"
#include "tests/support/files/test_files.h"

namespace {

using namespace qv;

struct row {
    std::uint32_t code;
    std::string name;
    std::string message;
};

std::vector<row> rows_of_the_file() {
    std::istringstream file(qv::testing::read_file(qv::testing::source_root() / "diagnostics" / "hresults.tsv"));
    std::vector<row> rows;
    for (std::string line; std::getline(file, line);) {
        const auto first = line.find('\t');
        const auto second = line.find('\t', first + 1);
        rows.push_back({static_cast<std::uint32_t>(std::stoul(line.substr(0, first), nullptr, 16)),
                        line.substr(first + 1, second - first - 1), line.substr(second + 1)});
    }
    return rows;
}

// What each code shows: its first row.
std::map<std::uint32_t, row> shown(const std::vector<row>& rows) {
    std::map<std::uint32_t, row> result;
    for (const auto& each : rows) result.emplace(each.code, each);
    return result;
}

// Codes of the file that one of the generic names takes over.
const std::map<std::uint32_t, std::string> generic = {
    {0x80004002, "E_NOINTERFACE"}, {0x80004003, "E_POINTER"},    {0x80070005, "E_ACCESSDENIED"},
    {0x8007000E, "E_OUTOFMEMORY"}, {0x80070057, "E_INVALIDARG"},
};

// The runtime's 1,222 names on 1,218 codes, 1,076 of them with a message, and the nine codes of the program.
TEST(HresultTable, FileIsComplete) {
    const auto rows = rows_of_the_file();
    const auto codes = shown(rows);
    EXPECT_EQ(rows.size(), 1222u + 9u);
    EXPECT_EQ(codes.size(), 1218u + 9u);
    std::size_t messages = 0;
    for (const auto& [code, entry] : codes) messages += entry.message.empty() ? 0u : 1u;
    EXPECT_EQ(messages, 1076u + 9u);
}

TEST(HresultTable, EveryNameOfTheFile) {
    for (const auto& [code, entry] : shown(rows_of_the_file())) {
        const auto* found = detail::find_hresult(code);
        ASSERT_NE(found, nullptr) << entry.name;
        EXPECT_EQ(found->name, entry.name);
        const auto taken_over = generic.find(code);
        EXPECT_STREQ(symbolic_name(code), (taken_over != generic.end() ? taken_over->second : entry.name).c_str());
    }
}

TEST(HresultTable, EveryMessageOfTheFile) {
    const test::canned_system_messages messages;
    for (const auto& [code, entry] : shown(rows_of_the_file())) {
        const auto* found = detail::find_hresult(code);
        ASSERT_NE(found, nullptr) << entry.name;
        if (entry.message.empty()) {
            EXPECT_EQ(found->message, nullptr) << entry.name;
            EXPECT_EQ(error_message(code), std::nullopt) << entry.name;
        } else {
            EXPECT_STREQ(found->message, entry.message.c_str()) << entry.name;
        }
    }
}

TEST(HresultTable, CodesBetweenThoseOfTheFileAreUnknown) {
    const auto codes = shown(rows_of_the_file());
    for (const auto& [code, entry] : codes)
        for (const auto neighbour : {code - 1, code + 1})
            EXPECT_EQ(detail::find_hresult(neighbour) != nullptr, codes.count(neighbour) == 1) << entry.name;
}

// A message is shown as it stands: nothing fills in what another system would insert.
TEST(HresultTable, MessagesStandByThemselves) {
    for (const auto& [code, entry] : shown(rows_of_the_file())) {
        EXPECT_EQ(entry.message.find('%'), std::string::npos) << entry.name;
        EXPECT_FALSE(entry.message.starts_with("Error:")) << entry.name;
        EXPECT_EQ(entry.message.find_last_not_of(' ') + 1, entry.message.size()) << entry.name;
    }
}

}  // namespace
