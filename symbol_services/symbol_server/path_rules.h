// Which names and paths may be given to the file system.
//
// Names come from images, packets and other people's stores, so nothing is taken on trust: what passes here names an
// ordinary file or directory, stays where it was put, and is never a device. Both kinds of separator count everywhere.
#pragma once

#include <cstddef>
#include <string_view>

namespace qv::symbol_store {

// The longest name of one file or directory, in UTF-16 code units.
constexpr std::size_t longest_component = 255;

// True where `name` can be one component of a path: not empty, not longer than longest_component, well-formed UTF-16
// without control characters, separators, wildcards or colons, not ending in a dot or blank (which also excludes "."
// and ".."), and not a reserved device name such as "NUL" or "com1.pdb" (Win32, "Naming Files, Paths, and Namespaces").
bool is_plain_component(std::wstring_view name) noexcept;

// True for paths that lead to devices, pipes or mailslots instead of files: "\\.\...", "\\?\..." other than a drive or
// a UNC share, and the shares named "pipe" and "mailslot" of any host.
bool is_device_path(std::wstring_view path) noexcept;

// True for an absolute path, on a drive or a share, of plain components that is no device path.
bool is_plain_absolute_path(std::wstring_view path) noexcept;

}  // namespace qv::symbol_store
