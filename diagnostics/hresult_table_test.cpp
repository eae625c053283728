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

TEST(HresultTable, CodeTextOfRuntimeCodes) {
    const test::canned_system_messages messages;
    const struct {
        std::uint32_t code;
        const char* text;
    } cases[] = {
        {0x00131106, "00131106, CLDB_S_TRUNCATION"},
        {0x00131201, "00131201, VLDTR_S_ERR"},
        {0x8013110E, "8013110e, CLDB_E_FILE_CORRUPT, File is corrupt"},
        {0x801311BC, "801311bc, TLBX_W_DUAL_NOT_DISPATCH, Typelib import: [dual] interface not derived from IDispatch"},
        {0x80131210,
         "80131210, VLDTR_E_TD_NOTIFACEOBJEXTNULL, "
         "Error: TypeDef that is not an Interface and not the Object class extends Nil token"},
        {0x80131413, "80131413, SN_CRYPTOAPI_CALL_FAILED, CryptoAPI call failed"},
        {0x80131500, "80131500, COR_E_EXCEPTION, General Exception"},
        {0x80131501, "80131501, COR_E_SYSTEM, System.Exception"},
        {0x80131502, "80131502, COR_E_ARGUMENTOUTOFRANGE, An argument was out of its legal range"},
        {0x80131505, "80131505, COR_E_TIMEOUT, Operation timed out"},
        {0x80131600, "80131600, COR_E_APPLICATION, Application exception"},
        {0x80131810, "80131810, VER_E_UNKNOWN_OPCODE, Unknown opcode [0x%X]"},
        {0x80131937, "80131937, COR_E_InvalidUdt"},
        {0x80132009, "80132009, CLR_E_GC_OOM, Failfast due to an OOM during a GC"},
    };
    for (const auto& [code, text] : cases) EXPECT_EQ(hresult_code_text(static_cast<std::int32_t>(code)), text);
}

}  // namespace
