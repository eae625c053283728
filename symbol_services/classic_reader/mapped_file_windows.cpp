#include <windows.h>

#include "common/holders.h"
#include "qv/text/path.h"
#include "symbol_services/classic_reader/mapped_file.h"
#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {
namespace {

constexpr const char* constructor_signature =
    "__cdecl qv::classic_reader::mapped_file::mapped_file(const class boost::filesystem::path &)";
constexpr const char* source_name = "symbol_services/classic_reader/mapped_file_windows";

std::int32_t code_of(DWORD error) {
    switch (error) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_NAME:
        case ERROR_BAD_NETPATH:
        case ERROR_BAD_NET_NAME:
        case ERROR_NOT_READY: return e_pdb_not_found;
        case ERROR_ACCESS_DENIED:
        case ERROR_SHARING_VIOLATION: return e_pdb_access_denied;
        default: return e_pdb_file_system;
    }
}

// A path may lead to somebody else's pipe: its owner must not act in our name.
constexpr DWORD open_flags =
    FILE_ATTRIBUTE_NORMAL | FILE_FLAG_RANDOM_ACCESS | SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS;

}  // namespace

mapped_file::mapped_file(const boost::filesystem::path& path) {
    const handle_hld file(valid_handle_or_null(CreateFileW(path.c_str(), GENERIC_READ,
                                                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                                           nullptr, OPEN_EXISTING, open_flags, nullptr)));
    if (!file)
        throw_hresult_error("Can't open PDB file", code_of(GetLastError()), constructor_signature, source_name,
                            __LINE__, errtag_file_w{text::to_wide(path)});

    LARGE_INTEGER size = {};
    if (GetFileType(file.get()) != FILE_TYPE_DISK || !GetFileSizeEx(file.get(), &size))
        throw_hresult_error("Can't open PDB file", e_pdb_file_system, constructor_signature, source_name, __LINE__,
                            errtag_file_w{text::to_wide(path)});
    if (size.QuadPart == 0) return;

    // The view keeps the section alive, and the section the file.
    const handle_hld section(CreateFileMappingW(file.get(), nullptr, PAGE_READONLY, static_cast<DWORD>(size.HighPart),
                                                size.LowPart, nullptr));
    const void* const view = section ? MapViewOfFile(section.get(), FILE_MAP_READ, 0, 0, 0) : nullptr;
    if (view == nullptr)
        throw_hresult_error("Can't map PDB file", e_pdb_file_system, constructor_signature, source_name, __LINE__,
                            errtag_file_w{text::to_wide(path)});
    bytes_ = {static_cast<const unsigned char*>(view), static_cast<std::size_t>(size.QuadPart)};
}

mapped_file::~mapped_file() {
    if (!bytes_.empty()) UnmapViewOfFile(bytes_.data());
}

}  // namespace qv::classic_reader
