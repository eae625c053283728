#include <gtest/gtest.h>

#include <boost/system/system_error.hpp>
#include <ios>
#include <new>
#include <stdexcept>
#include <system_error>

#include "diagnostics/system_message_test_support.h"
#include "qv/diagnostics/error_text.h"
#include "qv/diagnostics/exception.h"

#ifdef _WIN32
#include <comdef.h>
#endif

namespace {

using namespace qv;

constexpr const char* function = "void __cdecl f(void)";
constexpr const char* source = "core/src/f";
constexpr auto e_fail = static_cast<std::int32_t>(0x80004005);

template <class Throw>
exception_description described(Throw&& action, const char* unknown = "Unknown error") {
    try {
        action();
    } catch (...) {
        return describe_current_exception(unknown);
    }
    return {"nothing was thrown", {}};
}

template <class Throw, class Text>
std::string text_of(Throw&& action, Text text) {
    try {
        action();
    } catch (const std::exception& error) {
        return text(error);
    }
    return "nothing was thrown";
}

class silent : public std::exception {
public:
    const char* what() const noexcept override { return nullptr; }
};

TEST(OneLineText, MessageThenCode) {
    const test::canned_system_messages messages;
    const auto line = [](auto&& action) { return text_of(action, one_line_text); };
    EXPECT_EQ(line([] { throw_error("Bad", function, source, 7); }), "Bad");
    EXPECT_EQ(line([] { throw_win32_error("Can't create file", 5, function, source, 7); }),
              "Can't create file (Win32 error 5, Access is denied)");
    EXPECT_EQ(line([] { throw_hresult_error("No", e_fail, function, source, 7); }),
              "No (COM error 80004005, E_FAIL, Unspecified error)");
    EXPECT_EQ(line([] { throw_win32_error("Both", 5, function, source, 7, errtag_hresult{e_fail}); }),
              "Both (COM error 80004005, E_FAIL, Unspecified error)");
    EXPECT_EQ(line([] { throw std::runtime_error("plain"); }), "plain");
    EXPECT_EQ(line([] { throw silent(); }), "<nullptr>");
}

TEST(DiagnosticText, FourLinesInOrderThenItemsAsAttached) {
    const test::canned_system_messages messages;
    const auto text = [](auto&& action) { return text_of(action, diagnostic_text); };
    EXPECT_EQ(text([] { throw_error("Bad", function, source, 7); }),
              "[location] = core/src/f:7\n[function] = void __cdecl f(void)\n");
    EXPECT_EQ(text([] {
                  throw_win32_error("Both", 2, function, source, 7, errtag_file_w{L"C:\\\x416.pdb"},
                                    errtag_hresult{e_fail}, errtag_pe_dos_hdr_signature{0xAB},
                                    errtag_pe_nt_hdr_signature{0x4550});
              }),
              "[location] = core/src/f:7\n"
              "[function] = void __cdecl f(void)\n"
              "[hresult] = 80004005, E_FAIL, Unspecified error\n"
              "[WIN32 error] = 2, The system cannot find the file specified\n"
              "[file] = 'C:\\\xD0\x96.pdb'\n"
              "[PE DOS header signature] = 00ab\n"
              "[PE NT header signature] = 00004550\n");
    EXPECT_EQ(text([] { throw std::runtime_error("plain"); }), "");
}

TEST(DiagnosticText, HostileTextNeitherThrowsNorBreaksALine) {
    const std::wstring hostile = {L'a', wchar_t(0xD800), L'\n', L'b'};
    EXPECT_EQ(text_of([&] { throw_error("Bad", function, source, 7, errtag_source_w{hostile}); }, diagnostic_text),
              "[location] = core/src/f:7\n[function] = void __cdecl f(void)\n[source] = 'a\xEF\xBF\xBD\x7F"
              "b'\n");
}

TEST(DescribeCurrentException, ByKind) {
    const test::canned_system_messages messages;
    EXPECT_EQ(described([] { throw std::bad_alloc(); }).text, "Out of memory");
    EXPECT_EQ(described([] { throw std::bad_array_new_length(); }).text, "Out of memory");
    EXPECT_EQ(described([] { throw_win32_error("No", 5, function, source, 7); }).text,
              "No (Win32 error 5, Access is denied)");
    EXPECT_EQ(described([] { throw std::runtime_error("plain"); }).text, "plain");
    EXPECT_EQ(described([] { throw silent(); }).text, "<nullptr>");
    EXPECT_EQ(described([] { throw 7; }).text, "Unknown error");
    EXPECT_EQ(described([] { throw 7; }, "Unknown exception").text, "Unknown exception");
    EXPECT_FALSE(described([] { throw std::runtime_error("plain"); }).continuation);
}

TEST(DescribeCurrentException, SystemCodesGiveCategoryAndSystemMessage) {
    const test::canned_system_messages messages;
    const auto standard = described([] { throw std::system_error(2, std::system_category(), "opening"); });
    EXPECT_EQ(standard.text, "system");
    EXPECT_EQ(standard.continuation, "The system cannot find the file specified");
    const auto boost_error = described([] { throw boost::system::system_error(5, boost::system::system_category()); });
    EXPECT_EQ(boost_error.text, "system");
    EXPECT_EQ(boost_error.continuation, "Access is denied");
}

// By type these are system errors too, but only the message says what happened.
TEST(DescribeCurrentException, StreamFailuresGiveTheirMessage) {
    for (const auto& code : {std::error_code(std::io_errc::stream), std::error_code(2, std::system_category())}) {
        const std::ios_base::failure failure("inflating", code);
        const auto description = described([&] { throw failure; });
        EXPECT_EQ(description.text, failure.what());
        EXPECT_FALSE(description.continuation);
    }
}

// A value of another category is no code of the system, however alike the number.
class odd_category : public std::error_category {
public:
    explicit odd_category(const char* name) : name_(name) {}
    const char* name() const noexcept override { return name_; }
    std::string message(int) const override { return "its own text.\r\n\r\n"; }

private:
    const char* name_;
};

TEST(DescribeCurrentException, OtherCategoriesSpeakForThemselves) {
    const test::canned_system_messages messages;
    for (const auto& [name, text] : {std::pair{"odd", "odd"}, {"", "Unknown error"}, {nullptr, "Unknown error"}}) {
        const odd_category category(name);
        const auto description = described([&] { throw std::system_error(std::error_code(2, category)); });
        EXPECT_EQ(description.text, text);
        EXPECT_EQ(description.continuation, "its own text.");
    }
}

TEST(Exception, CopySharesItsStateAndCrossesThreadsAsPointer) {
    std::exception_ptr carried;
    try {
        throw_win32_error("Carried", 5, function, source, 7, errtag_file_w{L"f"});
    } catch (...) {
        carried = std::current_exception();
    }
    try {
        std::rethrow_exception(carried);
    } catch (const win32_error_exception& error) {
        const win32_error_exception copy = error;
        EXPECT_STREQ(copy.what(), "Carried");
        EXPECT_EQ(*copy.find<errtag_win32_error>(), 5u);
        EXPECT_EQ(*copy.find<errtag_file_w>(), L"f");
        EXPECT_EQ(copy.find<errtag_hresult>(), nullptr);
    }
}

#ifdef _WIN32
TEST(DescribeCurrentException, ComErrorGivesTheMessageOfItsCode) {
    const test::canned_system_messages messages;
    const auto known = described([] { throw _com_error(e_fail); });
    EXPECT_EQ(known.text, "Unknown COM error");
    EXPECT_EQ(known.continuation, "Unspecified error");
    const auto unknown = described([] { throw _com_error(0x12345678); });
    EXPECT_EQ(unknown.text, "Unknown COM error");
    EXPECT_FALSE(unknown.continuation);
}
#endif

}  // namespace
