#include <windows.h>

#include "common/holders.h"
#include "qv/text/path.h"
#include "symbol_services/classic_reader/byte_source.h"
#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {
namespace {

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
constexpr DWORD sharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// The system counts what it reads in 32 bits.
constexpr std::size_t longest_read = std::size_t{1} << 30;

class disk_file final : public byte_source {
public:
    explicit disk_file(const boost::filesystem::path& path)
        : name_(text::to_wide(path)),
          file_(valid_handle_or_null(CreateFileW(text::to_system_path(path).c_str(), GENERIC_READ, sharing, nullptr,
                                                 OPEN_EXISTING, open_flags, nullptr))) {
        if (!file_) fail("Can't open PDB file", code_of(GetLastError()));
        if (GetFileType(file_.get()) != FILE_TYPE_DISK || !GetFileInformationByHandle(file_.get(), &opened_))
            fail("Can't open PDB file", e_pdb_file_system);
    }

    std::uint64_t size() const noexcept override {
        return std::uint64_t{opened_.nFileSizeHigh} << 32 | opened_.nFileSizeLow;
    }

    void read(std::uint64_t offset, std::span<unsigned char> destination) const override {
        while (!destination.empty()) {
            // A place of its own for each read: the handle has one position, and threads share it.
            OVERLAPPED place = {};
            place.Offset = static_cast<DWORD>(offset);
            place.OffsetHigh = static_cast<DWORD>(offset >> 32);
            const auto wanted = static_cast<DWORD>(std::min(destination.size(), longest_read));
            DWORD count = 0;
            if (!ReadFile(file_.get(), destination.data(), wanted, &count, &place) || count == 0)
                fail("Can't read PDB file", e_pdb_file_system);
            destination = destination.subspan(count);
            offset += count;
        }
        if (was_written_to()) fail("PDB file was written to", e_pdb_file_system);
    }

private:
    bool was_written_to() const noexcept {
        BY_HANDLE_FILE_INFORMATION now = {};
        return !GetFileInformationByHandle(file_.get(), &now) || now.nFileSizeHigh != opened_.nFileSizeHigh ||
               now.nFileSizeLow != opened_.nFileSizeLow ||
               CompareFileTime(&now.ftLastWriteTime, &opened_.ftLastWriteTime) != 0;
    }

    [[noreturn]] void fail(const located_message& message, std::int32_t code) const {
        throw_hresult_error(message, code, errtag_file_w{name_});
    }

    const std::wstring name_;
    const handle_hld file_;
    BY_HANDLE_FILE_INFORMATION opened_ = {};
};

}  // namespace

std::unique_ptr<const byte_source> open_disk_file(const boost::filesystem::path& path) {
    return std::make_unique<const disk_file>(path);
}

}  // namespace qv::classic_reader
