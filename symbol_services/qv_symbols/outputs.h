// Counted outputs of COM methods, by their common contract: the count says how much there is, the buffer receives what
// fits into it.
#pragma once

#include <unknwn.h>

#include <algorithm>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "common/com/outputs.h"
#include "text/path.h"

namespace qv::symbols {

// Copies `source` and sets the count. E_POINTER without any output, E_INVALIDARG for room that has no buffer.
template <class Value>
HRESULT give_values(std::span<const Value> source, ULONG32 capacity, ULONG32* count, Value* buffer) {
    if (count == nullptr && buffer == nullptr) return E_POINTER;
    if (buffer == nullptr && capacity != 0) return E_INVALIDARG;
    if (source.size() > std::numeric_limits<ULONG32>::max()) return E_OUTOFMEMORY;
    const auto size = static_cast<ULONG32>(source.size());
    if (count != nullptr) *count = size;
    std::copy_n(source.data(), std::min(size, capacity), buffer);
    return S_OK;
}

// The same for a text with its terminator, which also ends a text that was cut.
inline HRESULT give_text(const std::wstring& text, ULONG32 capacity, ULONG32* count, WCHAR* buffer) {
    const HRESULT result = give_values(std::span<const WCHAR>(text.c_str(), text.size() + 1), capacity, count, buffer);
    if (SUCCEEDED(result) && buffer != nullptr && capacity != 0 && capacity <= text.size()) buffer[capacity - 1] = 0;
    return result;
}

// The text of a caller; false for null and for one that is longer than a text can be.
inline bool take_text(const WCHAR* text, std::wstring& taken) {
    if (text == nullptr) return false;
    const std::size_t length = wcsnlen(text, text::longest_path + 1);
    if (length > text::longest_path) return false;
    taken.assign(text, length);
    return true;
}

}  // namespace qv::symbols
