#include "pdb_client/program/console_output.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "common/holders.h"

namespace qv::profiler::pdb_client {
namespace {

// Makes a handle standard output for a while.
class standard_output {
public:
    explicit standard_output(HANDLE handle) { ::SetStdHandle(STD_OUTPUT_HANDLE, handle); }
    ~standard_output() { ::SetStdHandle(STD_OUTPUT_HANDLE, before_); }

private:
    const HANDLE before_ = ::GetStdHandle(STD_OUTPUT_HANDLE);
};

TEST(ConsoleOutput, PipeGetsTheBytesAsTheyAreAndMayBeClosed) {
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    ASSERT_TRUE(::CreatePipe(&read, &write, nullptr, 0));
    handle_hld reader(read);
    const handle_hld writer(write);
    const standard_output redirected(write);
    EXPECT_TRUE(write_output("a\x1b\xff\r", true));
    char bytes[10];
    DWORD size = 0;
    ASSERT_TRUE(::ReadFile(read, bytes, sizeof bytes, &size, nullptr));
    EXPECT_EQ(std::string(bytes, size), "a\x1b\xff\r");
    reader.reset();
    EXPECT_TRUE(write_output("nobody reads", false));
    const standard_output none(nullptr);
    EXPECT_FALSE(write_output("nowhere", false));
}

}  // namespace
}  // namespace qv::profiler::pdb_client
