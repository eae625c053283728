// Outputs of COM methods, emptied before anything can fail: a caller who finds no answer finds no pointer to release
// either. Windows only.
#pragma once

#include <unknwn.h>

#include <algorithm>
#include <cstddef>
#include <span>

namespace qv::com {

// A buffer that may be null.
template <class Value>
std::span<Value> output_array(Value* buffer, std::size_t size) noexcept {
    return {buffer, buffer == nullptr ? 0 : size};
}

// A text that may be null: emptying its first character empties it.
inline std::span<WCHAR> output_text(WCHAR* buffer, std::size_t size) noexcept {
    return output_array(buffer, std::min<std::size_t>(size, 1));
}

template <class Value>
void clear_output(Value* output) noexcept {
    if (output != nullptr) *output = Value{};
}

template <class Value>
void clear_output(std::span<Value> output) noexcept {
    std::fill(output.begin(), output.end(), Value{});
}

// Sets every output to zero; null pointers are passed over.
template <class... Outputs>
void clear_outputs(Outputs... outputs) noexcept {
    (clear_output(outputs), ...);
}

// The same, and the answer of a call that does nothing else.
template <class... Outputs>
HRESULT refuse(HRESULT answer, Outputs... outputs) noexcept {
    clear_outputs(outputs...);
    return answer;
}

}  // namespace qv::com
