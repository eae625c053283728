#include "core/console_ctrl_hld.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <stdexcept>

#include "diagnostics/exception_test_support.h"
#include "tests/support/calls/replaced_import.h"

namespace {

using quorvex::common::os::console_ctrl_hld;

// The handler that the system would call.
PHANDLER_ROUTINE registered = nullptr;
bool refuses = false;

BOOL WINAPI note_handler(PHANDLER_ROUTINE handler, BOOL) {
    registered = handler;
    return !refuses;
}

TEST(ConsoleCtrlHolder, OnlyOneMayExistAndItsHandlerDecidesUnlessItThrows) {
    const qv::test::replaced_import note("SetConsoleCtrlHandler", reinterpret_cast<void*>(&note_handler));
    const auto failure_of_a_holder = [] {
        return qv::test::message_of([] { const console_ctrl_hld holder(nullptr); });
    };
    refuses = true;
    EXPECT_EQ(failure_of_a_holder(), "Can't add control handler");
    refuses = false;
    EXPECT_EQ(failure_of_a_holder(), "") << "one that has failed leaves room for another";
    const console_ctrl_hld holder([](std::uint32_t type) {
        if (type == CTRL_BREAK_EVENT) throw std::runtime_error("no");
        return type == CTRL_C_EVENT;
    });
    EXPECT_EQ(failure_of_a_holder(), "Only one instance of the console ctrl holder is allowed");
    EXPECT_TRUE(registered(CTRL_C_EVENT));
    EXPECT_FALSE(registered(CTRL_CLOSE_EVENT));
    EXPECT_FALSE(registered(CTRL_BREAK_EVENT)) << "left to the system";
}

}  // namespace
