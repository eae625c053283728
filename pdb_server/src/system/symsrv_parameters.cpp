#include "pdb_server/src/system/symsrv_parameters.h"

#include <boost/algorithm/string/predicate.hpp>
#include <string_view>

namespace qv::profiler::pdb_server {

std::optional<std::wstring> symsrv_parameters(const std::wstring& element) {
    const auto begins_with = [&](std::wstring_view prefix) { return boost::algorithm::istarts_with(element, prefix); };
    if (begins_with(L"cache*")) return element;
    for (const std::wstring_view prefix : {L"srv*", L"symsrv*symsrv.dll*"})
        if (begins_with(prefix)) return element.substr(prefix.size());
    return std::nullopt;
}

}  // namespace qv::profiler::pdb_server
