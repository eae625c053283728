#include <gtest/gtest.h>

#include "diagnostics/hresult_table.h"
#include "diagnostics/system_message_test_support.h"
#include "qv/diagnostics/error_text.h"

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
// Systems word their texts differently; what is certain is that there is one, and what is cut off.
TEST(SystemMessage, WindowsKnowsItsOwnErrors) {
    for (const std::uint32_t code : {2u, 5u, 0x80070005u}) {
        const auto text = detail::platform_system_message(code).text;
        ASSERT_TRUE(text) << code;
        ASSERT_FALSE(text->empty());
        const auto message = error_message(code);
        ASSERT_TRUE(message);
        EXPECT_EQ(text->find(*message), 0u);
        EXPECT_EQ(message->find_last_of("\r\n."), message->find_last_of("\r\n.", message->size() - 2));
        EXPECT_EQ(win32_code_text(code).find(std::to_string(code) + ", "), 0u);
    }
    EXPECT_FALSE(detail::platform_system_message(0xABAD0003).text);
    EXPECT_FALSE(detail::platform_system_message(0xABAD0003).language_missing);
}
#endif

}  // namespace
