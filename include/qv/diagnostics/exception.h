// The exception types of the system, the information they carry, and the helpers that throw them.
//
// Every failure that the system detects is one of three types. Each carries a message, the place of the throw and any
// number of named items. Copying is cheap and never throws, so std::exception_ptr may carry them between threads.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace qv {

// Where an exception was thrown. The texts are literals: `function` is the full signature in MSVC spelling, `source`
// the path below the source root without its extension. Nothing is owned.
struct throw_location {
    const char* function;
    const char* source;
    unsigned line;
};

// One typed item of error information. Tag supplies the name under which diagnostic text shows it.
template <class Tag, class Value>
struct error_item {
    using value_type = Value;
    static constexpr const char* name = Tag::name;
    Value value;
};

namespace error_tags {
struct win32_error {
    static constexpr const char* name = "WIN32 error";
};
struct hresult {
    static constexpr const char* name = "hresult";
};
struct file {
    static constexpr const char* name = "file";
};
struct file_name {
    static constexpr const char* name = "file name";
};
struct directory_name {
    static constexpr const char* name = "directory";
};
struct source {
    static constexpr const char* name = "source";
};
struct environment_name {
    static constexpr const char* name = "environment variable";
};
struct pe_dos_hdr_signature {
    static constexpr const char* name = "PE DOS header signature";
};
struct pe_opt_hdr_signature {
    static constexpr const char* name = "PE option header signature";
};
struct pe_nt_hdr_signature {
    static constexpr const char* name = "PE NT header signature";
};
struct pe_cor_sec_signature {
    static constexpr const char* name = "PE COR section signature";
};
}  // namespace error_tags

using errtag_win32_error = error_item<error_tags::win32_error, std::uint32_t>;
using errtag_hresult = error_item<error_tags::hresult, std::int32_t>;
using errtag_file_w = error_item<error_tags::file, std::wstring>;
using errtag_file_name_w = error_item<error_tags::file_name, std::wstring>;
using errtag_directory_name_w = error_item<error_tags::directory_name, std::wstring>;
using errtag_source_w = error_item<error_tags::source, std::wstring>;
using errtag_environment_name_w = error_item<error_tags::environment_name, std::wstring>;
using errtag_pe_dos_hdr_signature = error_item<error_tags::pe_dos_hdr_signature, std::uint16_t>;
using errtag_pe_opt_hdr_signature = error_item<error_tags::pe_opt_hdr_signature, std::uint16_t>;
using errtag_pe_nt_hdr_signature = error_item<error_tags::pe_nt_hdr_signature, std::uint32_t>;
using errtag_pe_cor_sec_signature = error_item<error_tags::pe_cor_sec_signature, std::uint32_t>;

using any_error_item =
    std::variant<errtag_win32_error, errtag_hresult, errtag_file_w, errtag_file_name_w, errtag_directory_name_w,
                 errtag_source_w, errtag_environment_name_w, errtag_pe_dos_hdr_signature, errtag_pe_opt_hdr_signature,
                 errtag_pe_nt_hdr_signature, errtag_pe_cor_sec_signature>;

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
template <class... Items>
[[noreturn]] void throw_error(const char* message, const char* function, const char* source, unsigned line,
                              Items&&... items) {
    throw exception(message, {function, source, line}, {any_error_item(std::forward<Items>(items))...});
}

// Throws qv::win32_error_exception; `code` is GetLastError() as read right after the failing call.
template <class... Items>
[[noreturn]] void throw_win32_error(const char* message, std::uint32_t code, const char* function, const char* source,
                                    unsigned line, Items&&... items) {
    throw win32_error_exception(
        message, {function, source, line},
        {any_error_item(errtag_win32_error{code}), any_error_item(std::forward<Items>(items))...});
}

// Throws qv::hresult_exception.
template <class... Items>
[[noreturn]] void throw_hresult_error(const char* message, std::int32_t hresult, const char* function,
                                      const char* source, unsigned line, Items&&... items) {
    throw hresult_exception(message, {function, source, line},
                            {any_error_item(errtag_hresult{hresult}), any_error_item(std::forward<Items>(items))...});
}

}  // namespace qv
