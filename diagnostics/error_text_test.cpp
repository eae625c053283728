#include "diagnostics/error_text.h"

#include <gtest/gtest.h>

#include <boost/system/system_error.hpp>
#include <ios>
#include <new>
#include <stdexcept>
#include <system_error>

#include "base/exception.h"
#include "diagnostics/platform_errors.h"

#ifdef _WIN32
#include <comdef.h>
#include <windows.h>
#endif

namespace {

using namespace qv;

constexpr auto e_fail = static_cast<std::int32_t>(0x80004005);

// Stands in for the operating system.
detail::system_message answer(std::uint32_t code) {
    switch (code) {
        case 2: return {"The system cannot find the file specified.\r\n", false};
        case 5: return {"Access is denied.\r\n", false};
        case 0x80004005: return {"Unspecified error\r\n", false};
        case 0x20000001: return {"..\r\n.\r\n", false};
        case 0x20000003: return {"One. Two\r\nThree... \r\n.", false};
        case 0xABAD0001: return {std::nullopt, true};  // it knows the code, in another language
        case 0xA1CE0002: return {"The system's own.", false};
        default: return {};
    }
}

class ErrorText : public ::testing::Test {
protected:
    ~ErrorText() override { detail::exchange_system_message_source(previous_); }

    // The description on one line: the text, and the continuation behind a bar.
    template <class Throw>
    static std::string described(Throw&& action, const char* unknown = "Unknown error") {
        try {
            action();
        } catch (...) {
            const auto description = describe_current_exception(unknown);
            return description.continuation ? description.text + "|" + *description.continuation : description.text;
        }
        return "nothing was thrown";
    }

private:
    detail::system_message_source previous_ = detail::exchange_system_message_source(&answer);
};

TEST_F(ErrorText, OfACodeIsItsNumberNameAndMessage) {
    const struct {
        std::uint32_t code;
        const char* text;
    } cases[] = {
        {1, "00000001"},
        {0x80070057, "80070057, E_INVALIDARG"},
        {0x80004005, "80004005, E_FAIL, Unspecified error"},
        // Stops and line ends go at the end only.
        {0x20000001, "20000001, "},
        {0x20000003, "20000003, One. Two\r\nThree... "},
        // The table, from its first code to its last, has names, and messages where the system knows nothing.
        {0x00131105, "00131105"},
        {0x00131106, "00131106, CLDB_S_TRUNCATION"},
        {0x80131937, "80131937, COR_E_InvalidUdt"},
        {0xA1CE0000, "a1ce0000, PROF_E_NOT_SUPPORTED_CLR_V1, The profiler doesn't support .NET Framework v1.x"},
        {0xA1CE0002, "a1ce0002, PROF_E_INCOMPATIBLE_BRIDGE_VERSION, The system's own"},
        {0xABAD0001, "abad0001, CORE_API_E_API_DISABLED"},
        {0xABAD0005, "abad0005, CORE_API_E_NOT_IMPLEMENTED, Not implemented"},
        {0xABAD0006, "abad0006"},
    };
    for (const auto& [code, text] : cases) EXPECT_EQ(hresult_code_text(static_cast<std::int32_t>(code)), text);
    EXPECT_EQ(win32_code_text(0x80004005), "2147500037, E_FAIL, Unspecified error");
    EXPECT_EQ(win32_code_text(4294967295), "4294967295");
}

#ifdef _WIN32
// Systems word their texts differently, so this one is asked.
TEST(MessageOfACode, IsTheSystemsOwn) {
    char text[1024];
    ASSERT_NE(FormatMessageA(FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 2, 1033, text,
                             sizeof text, nullptr),
              0u);
    const std::string message = text;
    EXPECT_EQ(error_message(2), message.substr(0, message.find_last_not_of("\r\n.") + 1));
    EXPECT_EQ(error_message(0xABAD0003), "Unrecoverable error was detected");
}
#endif

struct silent : std::exception {
    const char* what() const noexcept override { return nullptr; }
};

struct odd_category : std::error_category {
    explicit odd_category(const char* its_name) : own_name(its_name) {}
    const char* name() const noexcept override { return own_name; }
    std::string message(int) const override { return "its own text.\r\n\r\n"; }
    const char* own_name;
};

TEST_F(ErrorText, OfAnExceptionIsThatOfItsKind) {
    EXPECT_EQ(described([] { throw_win32_error("One", 5); }), "One (Win32 error 5, Access is denied)");
    EXPECT_EQ(described([] { throw_win32_error("Both", 5, errtag_hresult{e_fail}); }),
              "Both (COM error 80004005, E_FAIL, Unspecified error)");
    EXPECT_EQ(described([] { throw std::bad_array_new_length(); }), "Out of memory");
    EXPECT_EQ(described([] { throw std::runtime_error("plain"); }), "plain");
    EXPECT_EQ(described([] { throw silent(); }), "<nullptr>");
    EXPECT_EQ(described([] { throw 7; }), "Unknown error");
    EXPECT_EQ(described([] { throw 7; }, "Unknown exception"), "Unknown exception");
    // By type a system error too, but only the message says what happened.
    const std::ios_base::failure stream("inflating", std::error_code(2, std::system_category()));
    EXPECT_EQ(described([&] { throw stream; }), stream.what());
}

TEST_F(ErrorText, OfSystemCodesIsCategoryAndMessage) {
    EXPECT_EQ(described([] { throw std::system_error(2, std::system_category(), "opening"); }),
              "system|The system cannot find the file specified");
    EXPECT_EQ(described([] { throw boost::system::system_error(5, boost::system::system_category()); }),
              "system|Access is denied");
    // A value of another category is no code of the system, however alike the number.
    for (const auto& [name, text] : {std::pair{"odd", "odd"}, {"", "Unknown error"}, {nullptr, "Unknown error"}}) {
        const odd_category category(name);
        EXPECT_EQ(described([&] { throw std::system_error(std::error_code(2, category)); }),
                  std::string(text) + "|its own text.");
    }
#ifdef _WIN32
    EXPECT_EQ(described([] { throw _com_error(e_fail); }), "Unknown COM error|Unspecified error");
    EXPECT_EQ(described([] { throw _com_error(0x12345678); }), "Unknown COM error");
#endif
}

TEST_F(ErrorText, WithDiagnosticsIsFourLinesInOrderThenItemsAsAttached) {
    const std::wstring hostile = {'a', 0xD800, '\n', 'b'};
    try {
        constexpr throw_site here{"void __cdecl f(void)", "core/src/f"};
        throw_win32_error("Both", 2, {here, 7}, errtag_file_w{hostile}, errtag_hresult{e_fail},
                          errtag_pe_dos_hdr_signature{0xAB}, errtag_pe_nt_hdr_signature{0x4550});
    } catch (const win32_error_exception& error) {
        EXPECT_EQ(diagnostic_text(error),
                  "[location] = core/src/f:7\n"
                  "[function] = void __cdecl f(void)\n"
                  "[hresult] = 80004005, E_FAIL, Unspecified error\n"
                  "[WIN32 error] = 2, The system cannot find the file specified\n"
                  "[file] = 'a\xEF\xBF\xBD\x7F"
                  "b'\n"
                  "[PE DOS header signature] = 00ab\n"
                  "[PE NT header signature] = 00004550\n");
    }
    const auto line = std::to_string(__LINE__ + 2);
    try {
        throw_error("Named by the compiler");
    } catch (const exception& error) {
        const std::string text = diagnostic_text(error);
        EXPECT_TRUE(text.starts_with("[location] = diagnostics/error_text_test:" + line + "\n")) << text;
        EXPECT_NE(text.find("TestBody()\n"), std::string::npos) << text;
    }
    EXPECT_EQ(diagnostic_text(std::runtime_error("plain")), "");
}

}  // namespace
