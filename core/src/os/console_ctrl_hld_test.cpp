#include "quorvex/common/os/console_ctrl_hld.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <future>
#include <stdexcept>
#include <string>

#include "diagnostics/exception_test_support.h"
#include "tests/support/calls/replaced_import.h"

namespace {

using quorvex::common::os::console_ctrl_hld;

TEST(ConsoleCtrlHolder, OnlyOneMayExist) {
    {
        const console_ctrl_hld first(nullptr);
        EXPECT_EQ(qv::test::failure_of([] { console_ctrl_hld second([](std::uint32_t) { return true; }); }),
                  (qv::test::failure{
                      "Only one instance of the console ctrl holder is allowed",
                      "__cdecl quorvex::common::os::console_ctrl_hld::console_ctrl_hld(class std::function<bool "
                      "__cdecl(unsigned int)>)",
                      "sharedCommon/Native/Shared/include/quorvex/common/os/console_ctrl_hld",
                      {}}));
    }
    EXPECT_EQ(qv::test::message_of([] { console_ctrl_hld next(nullptr); }), "");
}

TEST(ConsoleCtrlHolder, RefusedHandlerLeavesRoomForAnother) {
    {
        const qv::test::failing_call<decltype(SetConsoleCtrlHandler)> refusal("SetConsoleCtrlHandler");
        try {
            const console_ctrl_hld refused(nullptr);
            FAIL();
        } catch (const qv::win32_error_exception& error) {
            EXPECT_STREQ(error.what(), "Can't add control handler");
            EXPECT_EQ(*error.find<qv::errtag_win32_error>(), 8u);
        }
    }
    EXPECT_EQ(qv::test::message_of([] { console_ctrl_hld next(nullptr); }), "");
}

// Runs one of the tests below in a process with a console of its own, so that its event reaches nobody else.
DWORD run_in_own_console(const wchar_t* test) {
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::wstring command = L"\"" + std::wstring(program) + L"\" --gtest_also_run_disabled_tests --gtest_filter=" + test;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(program, command.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, nullptr, &startup,
                        &process))
        return GetLastError();
    DWORD code = STILL_ACTIVE;
    if (WaitForSingleObject(process.hProcess, 60000) == WAIT_OBJECT_0) GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}

bool raise_ctrl_c() {
    return GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) != FALSE;
}

TEST(ConsoleCtrlHolder, DISABLED_Handles) {
    std::promise<std::uint32_t> seen;
    const console_ctrl_hld holder([&](std::uint32_t type) {
        seen.set_value(type);
        return true;
    });
    ASSERT_TRUE(raise_ctrl_c());
    auto type = seen.get_future();
    ASSERT_EQ(type.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_EQ(type.get(), static_cast<std::uint32_t>(CTRL_C_EVENT));
}

TEST(ConsoleCtrlHolder, DISABLED_Throws) {
    const console_ctrl_hld holder([](std::uint32_t) -> bool { throw std::runtime_error("no"); });
    ASSERT_TRUE(raise_ctrl_c());
    Sleep(20000);
    FAIL() << "the system has not ended the process";
}

TEST(ConsoleCtrlHolder, HandledEventLeavesTheProcessRunning) {
    EXPECT_EQ(run_in_own_console(L"ConsoleCtrlHolder.DISABLED_Handles"), 0u);
}

TEST(ConsoleCtrlHolder, HandlerThatThrowsLeavesTheEventToTheSystem) {
    // The system ends the process, not all systems with the same code; the test itself would fail with 1.
    EXPECT_THAT(run_in_own_console(L"ConsoleCtrlHolder.DISABLED_Throws"),
                testing::AnyOf(static_cast<DWORD>(STATUS_CONTROL_C_EXIT), 0u));
}

}  // namespace
