#include "core/stream/FileNativeStream.h"

#include <stdexcept>

#include "core/stream/CoreStreams.h"
#include "text/path.h"

namespace qv {
namespace {

constexpr const char* source = "core/src/stream/FileNativeStream";

// The path for an error record; bytes that are no UTF-8 cannot be shown.
std::wstring shown(const boost::filesystem::path& path) {
    try {
        return text::to_wide(path);
    } catch (const std::runtime_error&) {
        return {};
    }
}

void check(system_code code, const char* message, const throw_location& where) {
    if (code != 0) throw_win32_error(message, code, where);
}

}  // namespace

void FileNativeStream::Start(const boost::filesystem::path& path, os_file::mode how, const char* message,
                             const throw_location& where) {
    Close();
    if (const system_code code = file_.open(path, how); code != 0)
        throw_win32_error(message, code, where, errtag_file_w{shown(path)});
    given_path_ = path;
}

void FileNativeStream::Create(const boost::filesystem::path& path) {
    static constexpr throw_site here{"void __cdecl FileNativeStream::Create(const class boost::filesystem::path &)",
                                     source};
    Start(path, os_file::mode::replace, "Can't create file", here);
}

void FileNativeStream::Open(const boost::filesystem::path& path) {
    static constexpr throw_site here{"void __cdecl FileNativeStream::Open(const class boost::filesystem::path &)",
                                     source};
    Start(path, os_file::mode::read, "Can't open file", here);
}

boost::filesystem::path FileNativeStream::FinalPath() const {
    return IsOpen() ? file_.final_path(given_path_) : boost::filesystem::path();
}

void FileNativeStream::RequireOpen(const throw_location& where) const {
    if (!IsOpen()) throw_error("File is closed", where);
}

std::uint64_t FileNativeStream::GetSize() const {
    static constexpr throw_site here{"unsigned __int64 __cdecl FileNativeStream::GetSize(void) const", source};
    RequireOpen(here);
    std::uint64_t size = 0;
    check(file_.get_size(size), "Can't get file size", here);
    return size;
}

void FileNativeStream::Read(void* destination, std::uint64_t size) {
    static constexpr throw_site here{"void __cdecl FileNativeStream::Read(void *,const unsigned __int64)", source};
    RequireOpen(here);
    const system_code code = file_.read(position_, destination, size);
    if (code == os_file::end_of_file) throw_error(no_data_message, here);
    check(code, "Can't read file", here);
    position_ += size;
}

void FileNativeStream::Write(const void* source_bytes, std::uint64_t size) {
    static constexpr throw_site here{"void __cdecl FileNativeStream::Write(const void *,const unsigned __int64)",
                                     source};
    RequireOpen(here);
    check(file_.write(position_, source_bytes, size), "Can't write file", here);
    position_ += size;
}

void FileNativeStream::Truncate() {
    static constexpr throw_site here{"void __cdecl FileNativeStream::Truncate(void)", source};
    RequireOpen(here);
    check(file_.truncate(position_), "Can't truncate file", here);
}

void FileNativeStream::Seek(SeekOrigin origin, std::int64_t offset) {
    static constexpr throw_site here{"void __cdecl FileNativeStream::Seek(const enum SeekOrigin,const __int64)",
                                     source};
    static constexpr detail::seek_faults faults{here, here, here};
    position_ = detail::seek_position(origin, offset, position_, GetSize(), faults);
}

void FileNativeStream::Flush() {
    static constexpr throw_site here{"void __cdecl FileNativeStream::Flush(void)", source};
    RequireOpen(here);
    check(file_.flush(), "Can't flush file", here);
}

void FileNativeStream::Close() noexcept {
    file_.close();
    position_ = 0;
    given_path_.clear();
}

}  // namespace qv
