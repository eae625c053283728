// Exceptions as text: the part of error_text.h that knows exceptions.
#include <array>
#include <boost/system/system_error.hpp>
#include <cstdio>
#include <ios>
#include <new>
#include <system_error>
#include <type_traits>

#include "base/exception.h"
#include "diagnostics/error_text.h"
#include "diagnostics/platform_errors.h"
#include "text/display.h"

namespace qv {
namespace {

std::string message_of(const std::exception& error) {
    const char* message = error.what();
    return message != nullptr ? message : text::null_text;
}

std::string hexadecimal(std::uint32_t value, std::size_t bytes) {
    std::array<char, 9> digits;
    std::snprintf(digits.data(), digits.size(), "%0*x", static_cast<int>(2 * bytes), static_cast<unsigned>(value));
    return digits.data();
}

std::string shown(const std::wstring& value) {
    std::string text = "'";
    return text.append(qv::text::display_utf8(value)).append("'");
}

template <class Integer>
std::string shown(Integer value) {
    static_assert(std::is_unsigned_v<Integer> && sizeof(Integer) <= 4);
    return hexadecimal(value, sizeof value);
}

void append_line(std::string& text, const char* name, const std::string& value) {
    text.append("[").append(name).append("] = ").append(value).append("\n");
}

// The codes have their own lines, in their own order.
template <class Item>
constexpr bool has_own_line = std::is_same_v<Item, errtag_hresult> || std::is_same_v<Item, errtag_win32_error>;

void append_items(std::string& text, const std::vector<any_error_item>& items) {
    for (const auto& any : items)
        std::visit(
            [&text](const auto& item) {
                using item_type = std::decay_t<decltype(item)>;
                if constexpr (!has_own_line<item_type>) append_line(text, item_type::name, shown(item.value));
            },
            any);
}

std::string or_null(const char* text) {
    return text != nullptr ? text : text::null_text;
}

// A file that the compiler names has an extension.
std::string source_name(const throw_location& where) {
    const std::string name = or_null(where.source);
    const auto extension = name.find_last_of("./\\");
    return extension != std::string::npos && name[extension] == '.' ? name.substr(0, extension) : name;
}

void trim_line_end(std::string& text) {
    text.resize(text.find_last_not_of("\r\n") + 1);
}

// `system_code` says whether the value is a code of the operating system; only then does the system know its text.
template <class Code>
exception_description describe_code(const Code& code, bool system_code) {
    exception_description description;
    const char* category = code.category().name();
    description.text = category != nullptr && *category != '\0' ? category : unknown_error_text;
    if (system_code) description.continuation = error_message(static_cast<std::uint32_t>(code.value()));
    if (!description.continuation) description.continuation = code.message();
    trim_line_end(*description.continuation);
    return description;
}

exception_description describe_com_error(std::int32_t hresult) {
    exception_description description{"Unknown COM error", error_message(static_cast<std::uint32_t>(hresult))};
    if (description.continuation) trim_line_end(*description.continuation);
    return description;
}

}  // namespace

std::string one_line_text(const std::exception& error) {
    std::string text = message_of(error);
    const auto* own = dynamic_cast<const exception*>(&error);
    if (own == nullptr) return text;
    if (const auto* hresult = own->find<errtag_hresult>())
        text.append(" (COM error ").append(hresult_code_text(*hresult)).append(")");
    else if (const auto* code = own->find<errtag_win32_error>())
        text.append(" (Win32 error ").append(win32_code_text(*code)).append(")");
    return text;
}

std::string diagnostic_text(const std::exception& error) {
    std::string text;
    const auto* own = dynamic_cast<const exception*>(&error);
    if (own == nullptr) return text;
    const throw_location& where = own->where();
    append_line(text, "location", source_name(where) + ":" + std::to_string(where.line));
    append_line(text, "function", or_null(where.function));
    if (const auto* hresult = own->find<errtag_hresult>())
        append_line(text, errtag_hresult::name, hresult_code_text(*hresult));
    if (const auto* code = own->find<errtag_win32_error>())
        append_line(text, errtag_win32_error::name, win32_code_text(*code));
    append_items(text, own->items());
    return text;
}

exception_description describe_current_exception(const char* unknown) {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return {"Out of memory", std::nullopt};
    } catch (const exception& error) {
        return {one_line_text(error), std::nullopt};
    } catch (const std::ios_base::failure& error) {
        // By type a system error too, but its code says "stream" whatever happened: the message is what a library, such
        // as that of compressed streams, has to say.
        return {message_of(error), std::nullopt};
    } catch (const std::system_error& error) {
        return describe_code(error.code(), error.code().category() == std::system_category());
    } catch (const boost::system::system_error& error) {
        return describe_code(error.code(), error.code().category() == boost::system::system_category());
    } catch (const std::exception& error) {
        return {message_of(error), std::nullopt};
    } catch (...) {
        if (const auto hresult = detail::current_com_error()) return describe_com_error(*hresult);
        return {unknown, std::nullopt};
    }
}

}  // namespace qv
