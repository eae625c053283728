// The identifier that a server is started with, and the names made from it.
#pragma once

#include <string>
#include <string_view>

namespace qv::profiler::pdb_client {

// True for what can name a pipe: a separator would lead out of the pipe name space.
inline bool is_pipe_id(std::wstring_view id) noexcept {
    return !id.empty() && id.size() <= 240 && id.find_first_of(std::wstring_view(L"\\/\0", 3)) == id.npos;
}

inline std::wstring pipe_name(std::wstring_view id) {
    return L"\\\\.\\pipe\\" + std::wstring(id);
}

// The event that a server sets when clients may connect; whoever starts the server creates it first.
inline std::wstring ready_event_name(std::wstring_view id) {
    return std::wstring(id) + L"_ready";
}

}  // namespace qv::profiler::pdb_client
