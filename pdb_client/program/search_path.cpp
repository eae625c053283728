#include "pdb_client/program/search_path.h"

#include <algorithm>
#include <array>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/filesystem/operations.hpp>

#include "qv/text/path.h"
#include "qv/text/utf.h"

namespace qv::profiler::pdb_client {
namespace {

bool is_symbol_server(const std::wstring& element) {
    constexpr std::array<const wchar_t*, 3> prefixes = {L"srv*", L"symsrv*", L"cache*"};
    return std::any_of(prefixes.begin(), prefixes.end(),
                       [&](const wchar_t* prefix) { return boost::istarts_with(element, prefix); });
}

}  // namespace

bool append_search_paths(const std::wstring& list, std::vector<std::wstring>& elements) {
    text::to_utf8(list);  // throws for what could not be sent
    bool any = false;
    for (std::size_t begin = 0, end = 0; end != list.npos; begin = end + 1) {
        end = list.find(L';', begin);
        const std::wstring element = list.substr(begin, end == list.npos ? end : end - begin);
        if (element.empty()) continue;
        any = true;
        elements.push_back(is_symbol_server(element)
                               ? element
                               : text::to_wide(boost::filesystem::system_complete(text::to_path(element))));
    }
    return any;
}

}  // namespace qv::profiler::pdb_client
