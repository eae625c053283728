// The container of a PDB file: a multi-stream file, version 7.0.
//
// The file is cut into pages of one size; a stream is a list of pages, in any order. Layout:
//
//   superblock, at the beginning of page 0
//     32  signature, see msf.cpp
//      4  page size, a power of two
//      4  page of the free-page map (of no interest to a reader)
//      4  number of pages
//      4  size of the stream directory in bytes
//      4  reserved
//    4*n  pages that hold the list of the directory's pages
//
//   stream directory, on the pages of that list
//      4  number of streams
//    4*n  size of each stream in bytes; 0xFFFFFFFF for a stream that is not there
//    4*m  pages of the first stream, of the second stream, ...
//
// Positions in the file are computed in 64 bits: files may have more than 2 GB.
//
// Streams are read in chunks, each when something of it is first wanted, once, and kept. Because the streams together
// are no larger than the file, reading never costs more than the file, and memory holds what was read of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/work_counter.h"
#include "symbol_services/classic_reader/byte_source.h"
#include "symbol_services/classic_reader/lazy.h"

namespace qv::classic_reader {

class msf_file;

// Pages of one stream, seen as bytes in order. A small value; the file outlives it. Immutable.
class msf_stream {
public:
    std::uint32_t size() const noexcept { return size_; }

    // Throw "Read beyond the end of a PDB stream", "PDB page outside the file" when the page is not in the file, and
    // what the source of the bytes throws.
    void read(std::uint64_t offset, std::span<unsigned char> destination) const;
    std::vector<unsigned char> bytes(std::uint64_t offset, std::uint64_t count) const;
    std::vector<unsigned char> bytes() const { return bytes(0, size_); }

    // The same bytes where they lie, if they lie together; else copied into `room`. Live as long as file and room do.
    std::span<const unsigned char> view(std::uint64_t offset, std::uint64_t count,
                                        std::vector<unsigned char>& room) const;

    template <class T>
    T read_value(std::uint64_t offset) const;

    // From the offset to a NUL, or to the end of the stream, or as much as is asked for.
    std::string text(std::uint64_t offset, std::uint64_t longest) const;

private:
    friend class msf_file;
    msf_stream(const msf_file& file, std::uint32_t index, std::uint32_t size) noexcept
        : file_(&file), index_(index), size_(size) {}

    const msf_file* file_;
    std::uint32_t index_;
    std::uint32_t size_;
};

class msf_file {
public:
    // Reads superblock and stream directory. Throws also e_pdb_format for what is no PDB file, e_pdb_v1_pdb
    // for one of the format before 7.0, and e_pdb_not_implemented for a portable one.
    explicit msf_file(std::unique_ptr<const byte_source> source);
    msf_file(const msf_file&) = delete;
    msf_file& operator=(const msf_file&) = delete;

    std::uint32_t stream_count() const noexcept { return static_cast<std::uint32_t>(streams_.size()); }
    bool has_stream(std::uint32_t index) const noexcept;

    // Throws where there is no such stream.
    msf_stream stream(std::uint32_t index) const;

private:
    friend class msf_stream;

    struct stream_entry {
        std::size_t first_page;   // index into the page numbers
        std::size_t first_chunk;  // index into the chunks
        std::uint32_t size;
    };

    // A part of a stream. What lies outside the file is missing: `present` then says how much of each page is there.
    struct chunk {
        std::vector<unsigned char> bytes;
        std::vector<std::uint32_t> present;
    };

    void read_superblock(std::span<const unsigned char> head);
    void read_directory(std::span<const unsigned char> head);
    void read_streams(std::span<const unsigned char> directory);
    std::uint64_t pages_for(std::uint64_t bytes) const noexcept { return (bytes + page_size_ - 1) / page_size_; }

    // The bytes on these pages.
    chunk read_pages(std::span<const std::uint32_t> pages, std::uint64_t size) const;
    // The same where none may be missing, by page numbers as they lie in the file.
    std::vector<unsigned char> gather(std::span<const unsigned char> page_numbers, std::uint64_t size) const;

    // The bytes of the stream from the offset on, as far as they lie together. The offset lies within the stream.
    std::span<const unsigned char> bytes_from(std::uint32_t stream, std::uint64_t offset) const;

    const std::unique_ptr<const byte_source> source_;
    std::uint32_t page_size_ = 0;
    std::uint32_t directory_size_ = 0;
    std::vector<std::uint32_t> pages_;  // of all streams, in directory order
    std::vector<stream_entry> streams_;
    std::vector<lazy<chunk>> chunks_;  // of all streams, in directory order
};

template <class T>
T msf_stream::read_value(std::uint64_t offset) const {
    T value;
    if (offset < size_ && sizeof value <= size_ - offset) {
        const auto from = file_->bytes_from(index_, offset);
        if (from.size() >= sizeof value) {
            count_work(sizeof value);
            std::memcpy(&value, from.data(), sizeof value);
            return value;
        }
    }
    read(offset, {reinterpret_cast<unsigned char*>(&value), sizeof value});
    return value;
}

}  // namespace qv::classic_reader
