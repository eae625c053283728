// What a symbol-server library is told of a search path element.
#pragma once

#include <optional>
#include <string>

namespace qv::profiler::pdb_server {

// The first argument of the library's SymbolServer functions: what follows "srv*", or "symsrv*symsrv.dll*"; the whole
// of a "cache*" element. The prefixes are matched in any case. No value for an element that names another library, or
// that is no symbol-server element.
std::optional<std::wstring> symsrv_parameters(const std::wstring& element);

}  // namespace qv::profiler::pdb_server
