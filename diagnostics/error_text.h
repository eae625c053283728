// Turns error codes and exceptions into text.
//
// Nothing here throws for an unknown code: it has no name and no message. All functions may be called from any thread.
#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>

namespace qv {

// The operating system's English text of a Win32 error or HRESULT without trailing full stops and line ends, else the
// built-in text of the code. An empty text is a text; no value means that nobody has one.
std::optional<std::string> error_message(std::uint32_t code);

// The name of an HRESULT, such as "E_FAIL", or null. The text is static.
const char* symbolic_name(std::uint32_t code) noexcept;

// "5, Access is denied" and "80004005, E_FAIL, Unspecified error": the code (decimal, or eight lower-case hexadecimal
// digits), then the symbolic name and the message as far as they exist.
std::string win32_code_text(std::uint32_t code);
std::string hresult_code_text(std::int32_t code);

// The exception on one line: its message, then the COM or Win32 code text in parentheses if it carries one.
std::string one_line_text(const std::exception& error);

// One line per item, each ended by "\n": location, function, code texts, then further attached items. Empty for
// exceptions that carry no such information.
std::string diagnostic_text(const std::exception& error);

// What is said of an exception whose type says nothing.
constexpr const char* unknown_error_text = "Unknown error";

// What a handler knows about the exception that it is handling.
struct exception_description {
    std::string text;                         // one line
    std::optional<std::string> continuation;  // the system's message, for errors that are known by code only
};

// Describes the exception being handled; call it inside a catch block only. `unknown` is the text for an exception
// whose type says nothing.
exception_description describe_current_exception(const char* unknown = unknown_error_text);

}  // namespace qv
