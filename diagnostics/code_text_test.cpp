#include <gtest/gtest.h>

#include "diagnostics/hresult_table.h"
#include "diagnostics/system_message_test_support.h"
#include "qv/diagnostics/error_text.h"
#include "qv/diagnostics/exception.h"

#ifdef _WIN32
#include <windows.h>

#include <cstring>
#endif

namespace {

using namespace qv;
using canned = test::canned_system_messages;

std::string hresult_text(std::uint32_t code) {
    return hresult_code_text(static_cast<std::int32_t>(code));
}

TEST(CodeText, CodeNameMessage) {
    const canned messages;
    EXPECT_EQ(win32_code_text(2), "2, The system cannot find the file specified");
    EXPECT_EQ(win32_code_text(5), "5, Access is denied");
    EXPECT_EQ(win32_code_text(4294967295), "4294967295");
    EXPECT_EQ(win32_code_text(0x80004005), "2147500037, E_FAIL, Unspecified error");
    EXPECT_EQ(hresult_text(0x80004005), "80004005, E_FAIL, Unspecified error");
    EXPECT_EQ(hresult_text(0xABAD0003), "abad0003, CORE_API_E_UNRECOVERABLE_ERROR, Unrecoverable error was detected");
    EXPECT_EQ(hresult_text(0x12345678), "12345678");
    EXPECT_EQ(hresult_text(0x80070057), "80070057, E_INVALIDARG");
    EXPECT_EQ(hresult_text(1), "00000001");
}

TEST(MessageOfACode, SystemTextLosesStopsAndLineEndsAtItsEndOnly) {
    const canned messages;
    EXPECT_EQ(error_message(canned::stops_inside), "One. Two\r\nThree... ");
    EXPECT_EQ(error_message(canned::only_stops), "");
    EXPECT_EQ(win32_code_text(canned::only_stops), "536870913, ");
}

TEST(MessageOfACode, TableAnswersOnlyWhereTheSystemKnowsNothing) {
    const canned messages;
    EXPECT_EQ(error_message(canned::system_and_table), "The system's own");
    EXPECT_EQ(error_message(canned::wrong_language), std::nullopt);
    EXPECT_EQ(hresult_text(canned::wrong_language), "abad0001, CORE_API_E_API_DISABLED");
    EXPECT_EQ(error_message(0xA1CE0000), "The profiler doesn't support .NET Framework v1.x");
    EXPECT_EQ(error_message(0x12345678), std::nullopt);
}

TEST(SymbolicName, GenericCodesAndTheProgramsOwn) {
    const struct {
        std::uint32_t code;
        const char* name;
    } cases[] = {
        {0x80004001, "E_NOTIMPL"},
        {0x80004002, "E_NOINTERFACE"},
        {0x80004003, "E_POINTER"},
        {0x80004004, "E_ABORT"},
        {0x80004005, "E_FAIL"},
        {0x8000FFFF, "E_UNEXPECTED"},
        {0x80070005, "E_ACCESSDENIED"},
        {0x80070006, "E_HANDLE"},
        {0x8007000E, "E_OUTOFMEMORY"},
        {0x80070057, "E_INVALIDARG"},
        {0xA1CE0000, "PROF_E_NOT_SUPPORTED_CLR_V1"},
        {0xA1CE0001, "PROF_E_NOT_SUPPORTED_CLR_V2"},
        {0xA1CE0002, "PROF_E_INCOMPATIBLE_BRIDGE_VERSION"},
        {0xABAD0000, "CORE_API_E_NO_PROFILER_DETECTED"},
        {0xABAD0001, "CORE_API_E_API_DISABLED"},
        {0xABAD0002, "CORE_API_E_NOT_SUPPORTED"},
        {0xABAD0003, "CORE_API_E_UNRECOVERABLE_ERROR"},
        {0xABAD0004, "CORE_API_E_INVALID_CALL_SEQUENCE"},
        {0xABAD0005, "CORE_API_E_NOT_IMPLEMENTED"},
        {0, nullptr},
        {0xFFFFFFFF, nullptr},
        {0xABAD0006, nullptr},
    };
    for (const auto& [code, name] : cases) EXPECT_STREQ(symbolic_name(code), name);
}

TEST(BuiltInMessages, TheProgramsOwn) {
    const struct {
        std::uint32_t code;
        const char* message;
    } cases[] = {
        {0xA1CE0000, "The profiler doesn't support .NET Framework v1.x."},
        {0xA1CE0001, "The profiler doesn't support .NET Framework v1.x, v2.0 and v3.x."},
        {0xA1CE0002, "Incompatible profiler bridge version."},
        {0xABAD0000, "No profiler was detected"},
        {0xABAD0001, "API was disabled"},
        {0xABAD0002, "Not supported API call"},
        {0xABAD0003, "Unrecoverable error was detected"},
        {0xABAD0004, "Invalid call sequence"},
        {0xABAD0005, "Not implemented"},
    };
    for (const auto& [code, message] : cases) {
        const auto* entry = detail::find_hresult(code);
        ASSERT_NE(entry, nullptr);
        EXPECT_STREQ(entry->message, message);
    }
}

#ifdef _WIN32
// What the system itself says, without its trailing stops and line ends; none if it knows nothing of the code.
std::optional<std::string> windows_text(std::uint32_t code) {
    char text[1024];
    const DWORD length = FormatMessageA(FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, code, 1033,
                                        text, sizeof text, nullptr);
    if (length == 0) return std::nullopt;
    std::string trimmed(text, length);
    while (!trimmed.empty() && std::strchr("\r\n.", trimmed.back()) != nullptr) trimmed.pop_back();
    return trimmed;
}

std::string with_windows_text(const std::string& code_and_name, std::uint32_t code) {
    const auto text = windows_text(code);
    return text ? code_and_name + ", " + *text : code_and_name;
}

// Systems word their texts differently, so they are asked.
TEST(CodeText, IsTheSystemsOwnWhereItHasOne) {
    ASSERT_TRUE(windows_text(2) && windows_text(5));
    EXPECT_EQ(win32_code_text(2), with_windows_text("2", 2));
    EXPECT_EQ(win32_code_text(5), with_windows_text("5", 5));
    EXPECT_EQ(hresult_text(0x80004005), with_windows_text("80004005, E_FAIL", 0x80004005));
    EXPECT_EQ(hresult_text(0x80070005), with_windows_text("80070005, E_ACCESSDENIED", 0x80070005));
    EXPECT_EQ(hresult_text(0xABAD0003), "abad0003, CORE_API_E_UNRECOVERABLE_ERROR, Unrecoverable error was detected");
    EXPECT_EQ(hresult_text(0x12345678), "12345678");
    try {
        throw_win32_error("Can't create file", 5, "f", "s", 1);
    } catch (const exception& error) {
        EXPECT_EQ(one_line_text(error), "Can't create file (Win32 error " + with_windows_text("5", 5) + ")");
    }
}
#endif

}  // namespace
