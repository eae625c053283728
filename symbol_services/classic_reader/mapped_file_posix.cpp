#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "common/unique_hld.h"
#include "qv/text/path.h"
#include "symbol_services/classic_reader/mapped_file.h"
#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {
namespace {

constexpr const char* constructor_signature =
    "__cdecl qv::classic_reader::mapped_file::mapped_file(const class boost::filesystem::path &)";
constexpr const char* source_name = "symbol_services/classic_reader/mapped_file_posix";

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

}  // namespace

mapped_file::mapped_file(const boost::filesystem::path& path) {
    // A pipe must not keep us waiting for its other end.
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0)
        throw_hresult_error("Can't open PDB file", code_of(errno), constructor_signature, source_name, __LINE__,
                            errtag_file_w{text::to_wide(path)});
    const descriptor_hld owner(descriptor + 1);

    struct stat status = {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        throw_hresult_error("Can't open PDB file", e_pdb_file_system, constructor_signature, source_name, __LINE__,
                            errtag_file_w{text::to_wide(path)});
    if (status.st_size == 0) return;
    const auto size = static_cast<std::size_t>(status.st_size);
    void* const view = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor, 0);
    if (view == MAP_FAILED)
        throw_hresult_error("Can't map PDB file", e_pdb_file_system, constructor_signature, source_name, __LINE__,
                            errtag_file_w{text::to_wide(path)});
    bytes_ = {static_cast<const unsigned char*>(view), size};
}

mapped_file::~mapped_file() {
    if (!bytes_.empty()) ::munmap(const_cast<unsigned char*>(bytes_.data()), bytes_.size());
}

}  // namespace qv::classic_reader
