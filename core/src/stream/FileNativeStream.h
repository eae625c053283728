// Plain, unbuffered stream over a file of the operating system.
//
// Regular files only: a directory, a pipe or a device is refused as if it could not be opened, so that no path makes a
// caller wait. The one exception is the null device, which may be created: it takes everything at once and keeps
// nothing. Reads and writes name their position to the system; a failed one leaves the position where it was. Not
// synchronised: one thread at a time. The file is closed by Close, by opening another one or by the destructor.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstddef>
#include <cstdint>

#include "core/src/stream/CoreStreams.h"

namespace qv {

class FileNativeStream : public IReadSeekCoreStream, public IWriteSeekCoreStream {
public:
    FileNativeStream() = default;
    ~FileNativeStream() override;
    FileNativeStream(const FileNativeStream&) = delete;
    FileNativeStream& operator=(const FileNativeStream&) = delete;

    // Creates the file for writing, truncating an existing one; others may only read it meanwhile. Throws "Can't create
    // file" with the system's code and the path. (Only Windows keeps other writers out.)
    void Create(const boost::filesystem::path& path);

    // Opens an existing file for reading; others may read, write and delete it meanwhile, so that a build can replace
    // it. Throws "Can't open file" with the system's code and the path.
    void Open(const boost::filesystem::path& path);

    bool IsOpen() const noexcept;

    // The path of the opened file with links and relative parts resolved, as the system reports it; empty when no
    // file is open. Asked for at each call: on a network share the answer takes its time.
    boost::filesystem::path FinalPath() const;

    // Length of the file in bytes. Throws "Can't get file size".
    std::uint64_t GetSize() const;

    // Throws "No enought data to read" when the file ends first, "Can't read file" with the system's code.
    void Read(void* destination, std::uint64_t size) override;

    // Throws "Can't write file" with the system's code.
    void Write(const void* source, std::uint64_t size) override;
    std::uint64_t GetPosition() const override { return position_; }

    // Ends the file at the position. Throws "Can't truncate file" with the system's code.
    void Truncate();

    // Throws "Unknown origin", "Negative offset" or "Too large offset".
    void Seek(SeekOrigin origin, std::int64_t offset) override;

    // Hands everything to the disk. Throws "File is closed" on a stream that is not open (as do all operations above
    // that need the file), "Can't flush file" with the system's code.
    void Flush();
    void Close() noexcept;

private:
#ifdef _WIN32
    using native_handle = void*;
    static constexpr std::nullptr_t no_handle = nullptr;
#else
    using native_handle = int;
    static constexpr native_handle no_handle = -1;
#endif
    void require_open(const char* function, unsigned line) const;

    native_handle handle_ = no_handle;
    std::uint64_t position_ = 0;
    boost::filesystem::path given_path_;
};

}  // namespace qv
