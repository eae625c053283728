#include "pdb_client/program/search_path.h"

#include <boost/filesystem/operations.hpp>

#include "text/path.h"
#include "text/symbol_path.h"
#include "text/utf.h"

namespace qv::profiler::pdb_client {
bool append_search_paths(const std::wstring& list, std::vector<std::wstring>& elements) {
    text::to_utf8(list);  // throws for what could not be sent
    const auto given = symbol_path::split(list, L';', symbol_path::empty_parts::left_out);
    for (const auto element : given) {
        std::wstring text(element);
        if (!symbol_path::is_server_element(element))
            text = text::to_wide(boost::filesystem::system_complete(text::to_path(text)));
        elements.push_back(std::move(text));
    }
    return !given.empty();
}

}  // namespace qv::profiler::pdb_client
