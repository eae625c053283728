#include "pdb_server/src/search_paths.h"

#include "common/symbol_server/search_elements.h"
#include "qv/text/path.h"

namespace qv::profiler::pdb_server {

bool is_symbol_server_element(const boost::filesystem::path& element) {
    return symbol_server::is_server_element(element.native());
}

std::wstring search_path_pieces::next() {
    std::wstring piece = caches_;
    for (std::size_t count = 0; !at_end() && count < most_elements; ++count, ++next_) {
        const std::wstring element = text::to_wide(elements_[next_]);
        if (count != 0 && piece.size() + element.size() >= most_characters) break;
        if (count != 0) piece += L';';
        piece += element;
        if (symbol_server::is_cache_element(elements_[next_].native()) &&
            caches_.size() + element.size() < most_characters / 2)
            caches_ += element + L';';
    }
    return piece;
}

std::vector<std::wstring> split_search_path(const std::wstring& value) {
    std::vector<std::wstring> elements;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t end = value.find(L';', begin);
        elements.push_back(value.substr(begin, end == std::wstring::npos ? end : end - begin));
        if (end == std::wstring::npos) return elements;
        begin = end + 1;
    }
}

}  // namespace qv::profiler::pdb_server
