#include "symbol_services/symbol_server/file_key.h"

#include <cstdio>

#include "symbol_services/symbol_server/path_rules.h"

namespace qv::symbol_store {
namespace {

std::wstring format_number(const char* format, std::uint32_t value) {
    char text[9];
    const int length = std::snprintf(text, sizeof text, format, static_cast<unsigned>(value));
    return {text, text + length};
}

std::wstring format_third(std::uint32_t value) {
    return value == 0 ? std::wstring() : format_number("%x", value);
}

}  // namespace

std::wstring format_index(const GUID& id, std::uint32_t age, std::uint32_t third) {
    return quorvex::common::to_store_key(id) + (age == 0 ? std::wstring() : format_number("%X", age)) +
           format_third(third);
}

std::wstring format_index(std::uint32_t id, std::uint32_t size, std::uint32_t third) {
    return format_number("%08X", id) + format_number("%x", size) + format_third(third);
}

std::wstring group_of(const std::wstring& name) {
    auto group = name.substr(0, 2);
    while (!group.empty() && (group.back() == L'.' || group.back() == L' ')) group.pop_back();
    return is_plain_component(group) ? group : std::wstring();
}

std::optional<file_key> file_key::make(std::wstring name, std::wstring index) {
    if (!is_plain_component(name) || !is_plain_component(index)) return std::nullopt;
    return file_key(std::move(name), std::move(index));
}

}  // namespace qv::symbol_store
