#include "symbol_services/classic_reader/byte_source.h"

#include "base/os_file.h"
#include "symbol_services/classic_reader/pdb_errors.h"
#include "text/path.h"

namespace qv::classic_reader {
namespace {

std::int32_t pdb_code_of(system_code code) {
    switch (kind_of(code)) {
        case failure_kind::not_found: return e_pdb_not_found;
        case failure_kind::access_denied: return e_pdb_access_denied;
        default: return e_pdb_file_system;
    }
}

class disk_file final : public byte_source {
public:
    explicit disk_file(const boost::filesystem::path& path) : name_(text::to_wide(path)) {
        if (const auto code = file_.open(path, os_file::mode::read); code != 0)
            fail("Can't open PDB file", pdb_code_of(code));
        if (file_.get_version(version_) != 0) fail("Can't open PDB file", e_pdb_file_system);
    }

    std::uint64_t size() const noexcept override { return version_.size; }

    void read(std::uint64_t offset, std::span<unsigned char> destination) const override {
        if (file_.read(offset, destination.data(), destination.size()) != 0)
            fail("Can't read PDB file", e_pdb_file_system);
        os_file::version now{};
        if (file_.get_version(now) != 0 || now != version_) fail("PDB file was written to", e_pdb_file_system);
    }

private:
    [[noreturn]] void fail(const located_message& message, std::int32_t code) const {
        throw_hresult_error(message, code, errtag_file_w{name_});
    }

    const std::wstring name_;
    os_file file_;
    os_file::version version_{};
};

}  // namespace

std::unique_ptr<const byte_source> open_disk_file(const boost::filesystem::path& path) {
    return std::make_unique<const disk_file>(path);
}

}  // namespace qv::classic_reader
