// Where the bytes of a PDB file come from: any place of them can be read at any time.
#pragma once

#include <algorithm>
#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace qv::classic_reader {

// Any number of threads may read at once.
class byte_source {
public:
    byte_source() = default;
    byte_source(const byte_source&) = delete;
    byte_source& operator=(const byte_source&) = delete;
    virtual ~byte_source() = default;

    virtual std::uint64_t size() const noexcept = 0;

    // Fills the destination from the offset on; together they lie within the size. Throws e_pdb_file_system when the
    // bytes cannot be had.
    virtual void read(std::uint64_t offset, std::span<unsigned char> destination) const = 0;
};

class memory_source final : public byte_source {
public:
    explicit memory_source(std::vector<unsigned char> bytes) noexcept : bytes_(std::move(bytes)) {}

    std::uint64_t size() const noexcept override { return bytes_.size(); }
    void read(std::uint64_t offset, std::span<unsigned char> destination) const override {
        std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), destination.size(), destination.begin());
    }

private:
    const std::vector<unsigned char> bytes_;
};

// A file on disk.
//
// It is read by ordinary calls and never mapped: a share or a removable disk that goes away makes a read fail, where
// the pages of a mapping would end the process. Others may write, replace, rename and delete the file meanwhile; one
// that was written to is read no further, because old and new content would mix.
//
// The file is closed with the object. Only regular files are taken. Throws e_pdb_not_found, e_pdb_access_denied or
// e_pdb_file_system; reading throws the last one, also where the file was written to.
std::unique_ptr<const byte_source> open_disk_file(const boost::filesystem::path& path);

}  // namespace qv::classic_reader
