// The exception types of the system, the information they carry, and the helpers that throw them.
//
// Every failure that the system detects is one of three types. Each carries a message, the place of the throw and any
// number of named items. Copying is cheap and never throws, so std::exception_ptr may carry them between threads.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>
#include <version>
#if defined(__cpp_lib_source_location)
#include <source_location>
#endif

namespace qv {

#if defined(__cpp_lib_source_location)
using source_location = std::source_location;
#else
// For compilers that do not know the standard one yet: the same, but for the bare name of the function.
class source_location {
public:
    static constexpr source_location current(const char* function = __builtin_FUNCTION(),
                                             const char* file = __builtin_FILE(),
                                             unsigned line = __builtin_LINE()) noexcept {
        source_location here;
        here.function_ = function;
        here.file_ = file;
        here.line_ = line;
        return here;
    }
    constexpr const char* function_name() const noexcept { return function_; }
    constexpr const char* file_name() const noexcept { return file_; }
    constexpr unsigned line() const noexcept { return line_; }

private:
    const char* function_ = "";
    const char* file_ = "";
    unsigned line_ = 0;
};
#endif

// A function that throws, by the names that the system has always printed: `function` is its full signature in MSVC
// spelling, `source` the path below the source root without its extension. Both are literals. One for each function.
struct throw_site {
    const char* function;
    const char* source;
};

// Where an exception was thrown: made of a throw site, or of nothing, wherever one is asked for; the line is that of
// the place where it is made. A helper that throws for its caller takes one, so that it reports the caller's line.
// Nothing is owned.
struct throw_location {
    const char* function;
    const char* source;
    unsigned line;

    constexpr throw_location(const throw_site& site, source_location here = source_location::current()) noexcept
        : function(site.function), source(site.source), line(here.line()) {}
    // For the failures that are known by a line of their own.
    constexpr throw_location(const throw_site& site, unsigned known_line) noexcept
        : function(site.function), source(site.source), line(known_line) {}
    // The names are the compiler's own.
    constexpr throw_location(source_location here = source_location::current()) noexcept
        : function(here.function_name()), source(here.file_name()), line(here.line()) {}
};

// A message and the place where it is written down, for functions without a throw site.
struct located_message {
    const char* text;
    throw_location where;

    constexpr located_message(const char* message, source_location here = source_location::current()) noexcept
        : text(message), where(here) {}
};

// A text as an argument of a template.
template <std::size_t Size>
struct item_name {
    char text[Size];
    constexpr item_name(const char (&literal)[Size]) { std::copy_n(literal, Size, text); }
};

// One typed item of error information, and the name under which diagnostic text shows it.
template <item_name Name, class Value>
struct error_item {
    using value_type = Value;
    static constexpr const char* name = Name.text;
    Value value;
};

using errtag_win32_error = error_item<"WIN32 error", std::uint32_t>;
using errtag_hresult = error_item<"hresult", std::int32_t>;
using errtag_file_w = error_item<"file", std::wstring>;
using errtag_file_name_w = error_item<"file name", std::wstring>;
using errtag_directory_name_w = error_item<"directory", std::wstring>;
using errtag_source_w = error_item<"source", std::wstring>;
using errtag_environment_name_w = error_item<"environment variable", std::wstring>;
using errtag_pe_dos_hdr_signature = error_item<"PE DOS header signature", std::uint16_t>;
using errtag_pe_opt_hdr_signature = error_item<"PE option header signature", std::uint16_t>;
using errtag_pe_nt_hdr_signature = error_item<"PE NT header signature", std::uint32_t>;
using errtag_pe_cor_sec_signature = error_item<"PE COR section signature", std::uint32_t>;

using any_error_item =
    std::variant<errtag_win32_error, errtag_hresult, errtag_file_w, errtag_file_name_w, errtag_directory_name_w,
                 errtag_source_w, errtag_environment_name_w, errtag_pe_dos_hdr_signature, errtag_pe_opt_hdr_signature,
                 errtag_pe_nt_hdr_signature, errtag_pe_cor_sec_signature>;

template <class Item>
concept error_information = std::constructible_from<any_error_item, Item>;

// A failure detected by the program itself: bad input, bad state, a protocol error.
class exception : public std::exception {
public:
    // `message` must outlive the exception: in this system it is always a literal.
    exception(const char* message, const throw_location& where, std::vector<any_error_item> items = {});

    const char* what() const noexcept override;
    const throw_location& where() const noexcept;

    // The attached items, in the order in which they were attached.
    const std::vector<any_error_item>& items() const noexcept;

    // The value of the first item of this tag, or null.
    template <class Item>
    const typename Item::value_type* find() const noexcept {
        for (const auto& item : items())
            if (const auto* found = std::get_if<Item>(&item)) return &found->value;
        return nullptr;
    }

private:
    struct state;
    std::shared_ptr<const state> state_;
};

// A failed Win32 call; carries errtag_win32_error.
class win32_error_exception : public exception {
public:
    using exception::exception;
};

// A failed COM call; carries errtag_hresult.
class hresult_exception : public exception {
public:
    using exception::exception;
};

// Throws qv::exception with the message, the location and any further items.
template <error_information... Items>
[[noreturn]] void throw_error(const char* message, const throw_location& where, Items&&... items) {
    throw exception(message, where, {any_error_item(std::forward<Items>(items))...});
}

// Throws qv::win32_error_exception; `code` is GetLastError() as read right after the failing call.
template <error_information... Items>
[[noreturn]] void throw_win32_error(const char* message, std::uint32_t code, const throw_location& where,
                                    Items&&... items) {
    throw win32_error_exception(
        message, where, {any_error_item(errtag_win32_error{code}), any_error_item(std::forward<Items>(items))...});
}

// Throws qv::hresult_exception.
template <error_information... Items>
[[noreturn]] void throw_hresult_error(const char* message, std::int32_t hresult, const throw_location& where,
                                      Items&&... items) {
    throw hresult_exception(message, where,
                            {any_error_item(errtag_hresult{hresult}), any_error_item(std::forward<Items>(items))...});
}

// The same without a throw site.
template <error_information... Items>
[[noreturn]] void throw_error(const located_message& message, Items&&... items) {
    throw_error(message.text, message.where, std::forward<Items>(items)...);
}

template <error_information... Items>
[[noreturn]] void throw_win32_error(const located_message& message, std::uint32_t code, Items&&... items) {
    throw_win32_error(message.text, code, message.where, std::forward<Items>(items)...);
}

template <error_information... Items>
[[noreturn]] void throw_hresult_error(const located_message& message, std::int32_t hresult, Items&&... items) {
    throw_hresult_error(message.text, hresult, message.where, std::forward<Items>(items)...);
}

}  // namespace qv
