// What the operating-system twins of FileNativeStream share: the texts by which their failures are known.
#pragma once

namespace qv::detail {

constexpr const char* file_native_stream_source = "core/src/stream/FileNativeStream";

namespace file_native_stream_function {
constexpr const char* create = "void __cdecl FileNativeStream::Create(const class boost::filesystem::path &)";
constexpr const char* open = "void __cdecl FileNativeStream::Open(const class boost::filesystem::path &)";
constexpr const char* get_size = "unsigned __int64 __cdecl FileNativeStream::GetSize(void) const";
constexpr const char* read = "void __cdecl FileNativeStream::Read(void *,const unsigned __int64)";
constexpr const char* write = "void __cdecl FileNativeStream::Write(const void *,const unsigned __int64)";
constexpr const char* truncate = "void __cdecl FileNativeStream::Truncate(void)";
constexpr const char* flush = "void __cdecl FileNativeStream::Flush(void)";
}  // namespace file_native_stream_function

namespace file_native_stream_message {
constexpr const char* create = "Can't create file";
constexpr const char* open = "Can't open file";
constexpr const char* size = "Can't get file size";
constexpr const char* read = "Can't read file";
constexpr const char* write = "Can't write file";
constexpr const char* truncate = "Can't truncate file";
constexpr const char* flush = "Can't flush file";
}  // namespace file_native_stream_message

}  // namespace qv::detail
