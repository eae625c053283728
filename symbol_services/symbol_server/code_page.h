// Text of callers that use the narrow functions, in the ANSI code page of the process.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qv::symbol_store {

// Empty where the text is malformed.
std::optional<std::wstring> from_code_page(std::string_view narrow);

// Empty where the code page lacks a character: a path with a replacement in it would name another file.
std::optional<std::string> to_code_page(std::wstring_view wide);

// For people: what the code page lacks is replaced.
std::string to_readable_code_page(std::wstring_view wide);

}  // namespace qv::symbol_store
