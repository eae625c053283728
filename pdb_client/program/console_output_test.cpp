#include "pdb_client/program/console_output.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "base/holders.h"

namespace qv::profiler::pdb_client {
namespace {

bool how_it_ends() {
    try {
        standard_output().write("nobody reads");
    } catch (const output_ended& end) {
        return end.by_its_reader();
    }
    throw std::logic_error("written");
}

TEST(ConsoleOutput, PipeGetsTheBytesAsTheyAreAndMayBeClosed) {
    const HANDLE before = ::GetStdHandle(STD_OUTPUT_HANDLE);
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    ASSERT_TRUE(::CreatePipe(&read, &write, nullptr, 0));
    handle_hld reader(read);
    const handle_hld writer(write);
    ::SetStdHandle(STD_OUTPUT_HANDLE, write);
    standard_output().write_verbatim("a\x1b\xff\r");
    char bytes[10];
    DWORD size = 0;
    EXPECT_TRUE(::ReadFile(read, bytes, sizeof bytes, &size, nullptr));
    EXPECT_EQ(std::string(bytes, size), "a\x1b\xff\r");
    reader.reset();
    EXPECT_TRUE(how_it_ends());
    ::SetStdHandle(STD_OUTPUT_HANDLE, nullptr);
    EXPECT_FALSE(how_it_ends());
    ::SetStdHandle(STD_OUTPUT_HANDLE, before);
}

}  // namespace
}  // namespace qv::profiler::pdb_client
