#include "quorvex/common/os/console_ctrl_hld.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <future>
#include <stdexcept>

#include "diagnostics/exception_test_support.h"

namespace {

using quorvex::common::os::console_ctrl_hld;

TEST(ConsoleCtrlHolder, OnlyOneMayExist) {
    {
        const console_ctrl_hld first([](std::uint32_t) { return true; });
        EXPECT_EQ(qv::test::message_of([] { console_ctrl_hld second([](std::uint32_t) { return true; }); }),
                  "Only one instance of the console ctrl holder is allowed");
    }
    EXPECT_EQ(qv::test::message_of([] { console_ctrl_hld next(nullptr); }), "");
}

}  // namespace
