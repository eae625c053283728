// What is looked for: a file name and the index of one build of that file.
//
// The index is a directory name in every symbol store (published as the "index string" of dbghelp):
//     PDB file     the GUID of its debug record in 32 upper-case hexadecimal digits, then its age
//     image        TimeDateStamp in 8 upper-case hexadecimal digits, then SizeOfImage
// A portable PDB has the age 0xFFFFFFFF here. Ages and sizes have no leading zeros; an age of zero is left out, and so
// is a third value, which else is appended to either form.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/guid.h"

namespace qv::symbol_store {

std::wstring format_index(const GUID& id, std::uint32_t age, std::uint32_t third);
std::wstring format_index(std::uint32_t id, std::uint32_t size, std::uint32_t third);

// The directory that groups files in a two-tier store: the first two letters of the name. Trailing dots and blanks go,
// as they do when Win32 makes such a directory; empty where nothing else is left, which would lead out of the store.
std::wstring group_of(const std::wstring& name);

// Both parts are plain components (path_rules.h), so a path made from them stays inside its store.
class file_key {
public:
    // Empty where one of the two cannot be a directory entry.
    static std::optional<file_key> make(std::wstring name, std::wstring index);

    const std::wstring& name() const noexcept { return name_; }
    const std::wstring& index() const noexcept { return index_; }

private:
    file_key(std::wstring name, std::wstring index) noexcept : name_(std::move(name)), index_(std::move(index)) {}

    std::wstring name_;
    std::wstring index_;
};

}  // namespace qv::symbol_store
