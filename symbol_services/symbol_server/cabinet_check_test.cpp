#include "symbol_services/symbol_server/cabinet_check.h"

#include <gtest/gtest.h>

#include "tests/support/builders/cabinet.h"

namespace qv::symbol_store {
namespace {

using test::bytes;

std::wstring fault_of(const bytes& cabinet) {
    return cabinet_fault(classic_reader::memory_source(cabinet));
}

// Wherever it is cut, and for each of these numbers. The system's API ends the process on some of them.
TEST(CabinetCheck, FindsWhatLeadsNowhere) {
    const bytes whole = test::stored_cabinet();
    EXPECT_EQ(fault_of(whole), L"");
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_EQ(fault_of({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)}),
                  L"malformed cabinet, cut off");
    const struct {
        std::size_t at;
        unsigned char value;
        const wchar_t* fault;
    } cases[] = {{0, 'm', L"without signature"},
                 {25, 2, L"of another version"},
                 {26, 2, L"not of one file"},
                 {28, 0, L"not of one file"},
                 {30, 5, L"part of a set"},
                 {19, 1, L"cut off"},  // where the file is told of
                 {46, 1, L"cut off"},  // where the blocks begin
                 {47, 3, L"cut off"},  // how many there are
                 {49, 2, L"compressed in an unknown way"},
                 {49, 3, L"compressed in an unknown way"},  // LZX without a window
                 {51, 49, L"cut off"},                      // the file's size
                 {55, 9, L"cut off"},                       // where it begins
                 {59, 1, L"its file in no folder"},
                 {78, 0x99, L"with too large a block"},
                 {80, 0x81, L"with too large a block"},
                 {111, 0xFF, L"cut off"}};
    for (const auto& each : cases) {
        bytes changed = whole;
        changed[each.at] = each.value;
        EXPECT_EQ(fault_of(changed), std::wstring(L"malformed cabinet, ") + each.fault) << each.at;
    }
    bytes endless = whole;
    endless.insert(endless.begin() + 67, 300, 'a');
    EXPECT_EQ(fault_of(endless), L"malformed cabinet, its file with an endless name");
}

}  // namespace
}  // namespace qv::symbol_store
