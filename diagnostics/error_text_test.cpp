#include "qv/diagnostics/error_text.h"

#include <gtest/gtest.h>

#include <boost/system/system_error.hpp>
#include <ios>
#include <new>
#include <stdexcept>
#include <system_error>

#include "diagnostics/system_message.h"
#include "qv/diagnostics/exception.h"

#ifdef _WIN32
#include <comdef.h>
#include <windows.h>
#endif

namespace {

using namespace qv;

// Stands in for the operating system while it exists.
class canned {
public:
    canned() : previous_(detail::exchange_system_message_source(&answer)) {}
    ~canned() { detail::exchange_system_message_source(previous_); }
    canned(const canned&) = delete;
    canned& operator=(const canned&) = delete;

    static constexpr std::uint32_t only_stops = 0x20000001;        // text of nothing but stops and line ends
    static constexpr std::uint32_t wrong_language = 0xABAD0001;    // in the table, but there is a system text
    static constexpr std::uint32_t stops_inside = 0x20000003;      // only the end is trimmed
    static constexpr std::uint32_t system_and_table = 0xA1CE0002;  // in the table, and the system knows it

private:
    static detail::system_message answer(std::uint32_t code) {
        switch (code) {
            case 2: return {"The system cannot find the file specified.\r\n", false};
            case 5: return {"Access is denied.\r\n", false};
            case 0x80004005: return {"Unspecified error\r\n", false};
            case only_stops: return {"..\r\n.\r\n", false};
            case wrong_language: return {std::nullopt, true};
            case stops_inside: return {"One. Two\r\nThree... \r\n.", false};
            case system_and_table: return {"The system's own.", false};
            default: return {};
        }
    }

    detail::system_message_source previous_;
};

constexpr auto e_fail = static_cast<std::int32_t>(0x80004005);

std::string hresult_text(std::uint32_t code) {
    return hresult_code_text(static_cast<std::int32_t>(code));
}

TEST(CodeText, CodeNameMessage) {
    const canned messages;
    EXPECT_EQ(win32_code_text(2), "2, The system cannot find the file specified");
    EXPECT_EQ(win32_code_text(4294967295), "4294967295");
    EXPECT_EQ(win32_code_text(0x80004005), "2147500037, E_FAIL, Unspecified error");
    EXPECT_EQ(hresult_text(0x80004005), "80004005, E_FAIL, Unspecified error");
    EXPECT_EQ(hresult_text(0xABAD0003), "abad0003, CORE_API_E_UNRECOVERABLE_ERROR, Unrecoverable error was detected");
    EXPECT_EQ(hresult_text(0x80070057), "80070057, E_INVALIDARG");
    EXPECT_EQ(hresult_text(1), "00000001");
}

TEST(MessageOfACode, SystemTextLosesStopsAndLineEndsAtItsEndOnly) {
    const canned messages;
    EXPECT_EQ(error_message(canned::stops_inside), "One. Two\r\nThree... ");
    EXPECT_EQ(win32_code_text(canned::only_stops), "536870913, ");
}

TEST(MessageOfACode, TableAnswersOnlyWhereTheSystemKnowsNothing) {
    const canned messages;
    EXPECT_EQ(error_message(canned::system_and_table), "The system's own");
    EXPECT_EQ(hresult_text(canned::wrong_language), "abad0001, CORE_API_E_API_DISABLED");
    EXPECT_EQ(error_message(0xA1CE0000), "The profiler doesn't support .NET Framework v1.x");
    EXPECT_EQ(error_message(0x80131937), std::nullopt);  // a code that has a name only
}

#ifdef _WIN32
// Systems word their texts differently, so this one is asked.
TEST(MessageOfACode, IsTheSystemsOwnWhereItHasOne) {
    char text[1024];
    for (const DWORD code : {2ul, 0x80070005ul}) {
        ASSERT_NE(FormatMessageA(FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, code, 1033, text,
                                 sizeof text, nullptr),
                  0u);
        const std::string message = text;
        EXPECT_EQ(error_message(code), message.substr(0, message.find_last_not_of("\r\n.") + 1));
    }
    EXPECT_EQ(error_message(0xABAD0003), "Unrecoverable error was detected");
}
#endif

// The description on one line: the text, and the continuation behind a bar.
template <class Throw>
std::string described(Throw&& action, const char* unknown = "Unknown error") {
    const canned messages;
    try {
        action();
    } catch (...) {
        const auto description = describe_current_exception(unknown);
        return description.continuation ? description.text + "|" + *description.continuation : description.text;
    }
    return "nothing was thrown";
}

class silent : public std::exception {
public:
    const char* what() const noexcept override { return nullptr; }
};

class odd_category : public std::error_category {
public:
    explicit odd_category(const char* name) : name_(name) {}
    const char* name() const noexcept override { return name_; }
    std::string message(int) const override { return "its own text.\r\n\r\n"; }

private:
    const char* name_;
};

TEST(DescribeCurrentException, ByKind) {
    const auto win32 = [] { throw_win32_error("Can't create file", 5, "f", "s", 7); };
    EXPECT_EQ(described(win32), "Can't create file (Win32 error 5, Access is denied)");
    EXPECT_EQ(described([] { throw_win32_error("Both", 5, "f", "s", 7, errtag_hresult{e_fail}); }),
              "Both (COM error 80004005, E_FAIL, Unspecified error)");
    EXPECT_EQ(described([] { throw std::bad_array_new_length(); }), "Out of memory");
    EXPECT_EQ(described([] { throw std::runtime_error("plain"); }), "plain");
    EXPECT_EQ(described([] { throw silent(); }), "<nullptr>");
    EXPECT_EQ(described([] { throw 7; }), "Unknown error");
    EXPECT_EQ(described([] { throw 7; }, "Unknown exception"), "Unknown exception");
}

TEST(DescribeCurrentException, SystemCodesGiveCategoryAndMessage) {
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

// By type these are system errors too, but only the message says what happened.
TEST(DescribeCurrentException, StreamFailuresGiveTheirMessage) {
    const std::error_code code(2, std::system_category());
    EXPECT_EQ(described([&] { throw std::ios_base::failure("inflating", code); }),
              std::ios_base::failure("inflating", code).what());
}

TEST(DiagnosticText, FourLinesInOrderThenItemsAsAttached) {
    const canned messages;
    const std::wstring hostile = {L'a', wchar_t(0xD800), L'\n', L'b'};
    try {
        throw_win32_error("Both", 2, "void __cdecl f(void)", "core/src/f", 7, errtag_file_w{hostile},
                          errtag_hresult{e_fail}, errtag_pe_dos_hdr_signature{0xAB},
                          errtag_pe_nt_hdr_signature{0x4550});
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
    EXPECT_EQ(diagnostic_text(std::runtime_error("plain")), "");
}

}  // namespace
