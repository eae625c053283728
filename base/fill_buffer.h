// Texts that the system writes into a caller's buffer. Windows only.
#pragma once

#include <windows.h>

#include <string>

namespace qv {

// Calls a function, call(buffer, size) with sizes in characters, that fills the buffer and returns the length: the one
// that is needed (with terminator) or the one filled (without). Empty where it returns 0: GetLastError() then says why.
template <class Call>
std::wstring fill_buffer(Call call) {
    std::wstring buffer(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = call(buffer.data(), static_cast<DWORD>(buffer.size()));
        if (length == 0) return {};
        const bool fits = length < buffer.size();
        buffer.resize(length);
        if (fits) return buffer;
    }
}

}  // namespace qv
