#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "common/unique_hld.h"
#include "qv/text/path.h"
#include "symbol_services/classic_reader/byte_source.h"
#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {
namespace {

// One above the descriptor, because descriptor 0 is valid and a holder takes 0 for nothing.
struct close_descriptor {
    void operator()(int descriptor_above) const noexcept { ::close(descriptor_above - 1); }
};
using descriptor_hld = unique_hld<int, close_descriptor>;

std::int32_t code_of(int error) {
    switch (error) {
        case ENOENT:
        case ENOTDIR: return e_pdb_not_found;
        case EACCES:
        case EPERM: return e_pdb_access_denied;
        default: return e_pdb_file_system;
    }
}

class disk_file final : public byte_source {
public:
    explicit disk_file(const boost::filesystem::path& path) : name_(text::to_wide(path)) {
        // A pipe must not keep us waiting for its other end.
        file_.reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK) + 1);
        if (!file_) fail("Can't open PDB file", code_of(errno));
        if (::fstat(descriptor(), &opened_) != 0 || !S_ISREG(opened_.st_mode))
            fail("Can't open PDB file", e_pdb_file_system);
    }

    std::uint64_t size() const noexcept override { return static_cast<std::uint64_t>(opened_.st_size); }

    void read(std::uint64_t offset, std::span<unsigned char> destination) const override {
        while (!destination.empty()) {
            const auto count =
                ::pread(descriptor(), destination.data(), destination.size(), static_cast<off_t>(offset));
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) fail("Can't read PDB file", e_pdb_file_system);
            destination = destination.subspan(static_cast<std::size_t>(count));
            offset += static_cast<std::uint64_t>(count);
        }
        if (was_written_to()) fail("PDB file was written to", e_pdb_file_system);
    }

private:
    int descriptor() const noexcept { return file_.get() - 1; }

    bool was_written_to() const noexcept {
        struct stat now = {};
        return ::fstat(descriptor(), &now) != 0 || now.st_size != opened_.st_size ||
               now.st_mtim.tv_sec != opened_.st_mtim.tv_sec || now.st_mtim.tv_nsec != opened_.st_mtim.tv_nsec;
    }

    [[noreturn]] void fail(const located_message& message, std::int32_t code) const {
        throw_hresult_error(message, code, errtag_file_w{name_});
    }

    const std::wstring name_;
    descriptor_hld file_;
    struct stat opened_ = {};
};

}  // namespace

std::unique_ptr<const byte_source> open_disk_file(const boost::filesystem::path& path) {
    return std::make_unique<const disk_file>(path);
}

}  // namespace qv::classic_reader
