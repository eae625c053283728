#include "pdb_server/src/search_paths.h"

#include "text/path.h"
#include "text/symbol_path.h"

namespace qv::profiler::pdb_server {

std::wstring search_path_pieces::next() {
    std::wstring piece = caches_;
    for (std::size_t count = 0; !at_end() && count < most_elements; ++count, ++next_) {
        const std::wstring element = text::to_wide(elements_[next_]);
        if (count != 0 && piece.size() + element.size() >= most_characters) break;
        if (count != 0) piece += L';';
        piece += element;
        if (symbol_path::is_cache_element(elements_[next_].native()) &&
            caches_.size() + element.size() < most_characters / 2)
            caches_ += element + L';';
    }
    return piece;
}

}  // namespace qv::profiler::pdb_server
