// Plain, unbuffered stream over a file of the operating system: regular files, and the null device to write to (see
// base/os_file.h).
//
// Failures are qv::win32_error_exception with the system's code; every operation but Close that needs the file throws
// qv::exception on a stream that is not open. A failed read or write leaves the position where it was. Not
// synchronised: one thread at a time. The file is closed by Close, by opening another one or by the destructor.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>

#include "base/exception.h"
#include "base/os_file.h"
#include "core/stream/CoreStreams.h"

namespace qv {

class FileNativeStream : public IReadSeekCoreStream, public IWriteSeekCoreStream {
public:
    FileNativeStream() = default;
    FileNativeStream(const FileNativeStream&) = delete;
    FileNativeStream& operator=(const FileNativeStream&) = delete;

    // Creates the file for writing, truncating an existing one; others may only read it meanwhile. A failure carries
    // the path. (Only Windows keeps other writers out.)
    void Create(const boost::filesystem::path& path);

    // Opens an existing file for reading; others may read, write and delete it meanwhile, so that a build can replace
    // it. A failure carries the path.
    void Open(const boost::filesystem::path& path);

    bool IsOpen() const noexcept { return file_.is_open(); }

    // The path of the opened file with links and relative parts resolved, as the system reports it; empty when no
    // file is open. Asked for at each call: on a network share the answer takes its time.
    boost::filesystem::path FinalPath() const;

    // Length of the file in bytes.
    std::uint64_t GetSize() const;

    // Throws qv::exception when the file ends first.
    void Read(void* destination, std::uint64_t size) override;

    void Write(const void* source, std::uint64_t size) override;
    std::uint64_t GetPosition() const override { return position_; }

    // Ends the file at the position.
    void Truncate();

    void Seek(SeekOrigin origin, std::int64_t offset) override;

    // Hands everything to the disk.
    void Flush();
    void Close() noexcept;

private:
    void Start(const boost::filesystem::path& path, os_file::mode how, const char* message,
               const throw_location& where);
    void RequireOpen(const throw_location& where) const;

    os_file file_;
    std::uint64_t position_ = 0;
    boost::filesystem::path given_path_;
};

}  // namespace qv
