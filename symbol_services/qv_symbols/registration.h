// Enters the classes of this library into the registry.
#pragma once

#include <windows.h>

#include <string>

namespace qv::symbols {

// For all users, or for this one where that is denied. Nothing is changed, and the answer is SELFREG_E_CLASS, on a
// machine where another library offers one of the classes already: the platform's own reader stays in charge. An entry
// that leads to no class any more is replaced and remembered.
HRESULT register_classes(const std::wstring& library) noexcept;

// Takes out what leads to this library, and puts back what was replaced.
HRESULT unregister_classes(const std::wstring& library) noexcept;

}  // namespace qv::symbols
