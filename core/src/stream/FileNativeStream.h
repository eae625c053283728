// Plain, unbuffered stream over a file of the operating system.
//
// Not synchronised: one thread at a time. The file is closed by Close or by the destructor.
#pragma once

#include <boost/filesystem/path.hpp>
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
    // file" with the system's code and the path.
    void Create(const boost::filesystem::path& path);

    // Opens an existing file for reading; others may read, write and delete it meanwhile, so that a build can replace
    // it. Throws "Can't open file" with the system's code and the path.
    void Open(const boost::filesystem::path& path);

    bool IsOpen() const noexcept;

    // The path of the opened file with links and relative parts resolved, as the system reports it.
    const boost::filesystem::path& FinalPath() const noexcept { return final_path_; }

    // Length of the file in bytes.
    std::uint64_t GetSize() const;

    void Read(void* destination, std::uint64_t size) override;
    void Write(const void* source, std::uint64_t size) override;
    std::uint64_t GetPosition() const override { return position_; }
    void Seek(SeekOrigin origin, std::int64_t offset) override;

    // Hands everything to the disk. Throws "File is closed" on a stream that is not open.
    void Flush();
    void Close() noexcept;

private:
#ifdef _WIN32
    void* handle_ = nullptr;
#else
    int handle_ = -1;
#endif
    std::uint64_t position_ = 0;
    boost::filesystem::path final_path_;
};

}  // namespace qv
