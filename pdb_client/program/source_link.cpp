#include "pdb_client/program/source_link.h"

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/json.hpp>
#include <locale>

#include "base/exception.h"

namespace qv::profiler::pdb_client {
namespace {

namespace json = boost::json;

bool is_unreserved(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           std::string_view("-._~").find(c) != std::string_view::npos;
}

// Each part of the path is escaped (RFC 3986, 2.1), so that nothing in it can end the path.
std::string escaped(std::string_view path) {
    std::string text;
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\\' || c == '/') {
            text += '/';
        } else if (is_unreserved(c)) {
            text += c;
        } else {
            text += '%';
            text += "0123456789ABCDEF"[byte >> 4];
            text += "0123456789ABCDEF"[byte & 0xF];
        }
    }
    return text;
}

}  // namespace

source_link::source_link(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    json::error_code error;
    const json::value document = json::parse(text, error);
    const json::object* const root = error ? nullptr : document.if_object();
    const json::value* const documents = root == nullptr ? nullptr : root->if_contains("documents");
    if (documents == nullptr || !documents->is_object()) throw_error("Not a Source Link document");
    for (const auto& [path, url] : documents->get_object()) {
        if (!url.is_string()) continue;
        entry mapped{path, false, std::string(url.get_string())};
        const std::size_t star = mapped.path.find('*');
        mapped.is_prefix = star != mapped.path.npos;
        if (mapped.is_prefix && star + 1 != mapped.path.size()) continue;
        if (std::count(mapped.url.begin(), mapped.url.end(), '*') != (mapped.is_prefix ? 1 : 0)) continue;
        mapped.path.resize(std::min(star, mapped.path.size()));
        entries_.push_back(std::move(mapped));
    }
    std::stable_sort(entries_.begin(), entries_.end(),
                     [](const entry& a, const entry& b) { return a.path.size() > b.path.size(); });
}

std::optional<std::string> source_link::url_of(std::string_view document) const {
    const std::locale ascii = std::locale::classic();
    for (const entry& mapped : entries_) {
        if (!mapped.is_prefix && boost::iequals(document, mapped.path, ascii)) return mapped.url;
        if (!mapped.is_prefix || !boost::istarts_with(document, mapped.path, ascii)) continue;
        std::string url = mapped.url;
        return url.replace(url.find('*'), 1, escaped(document.substr(mapped.path.size())));
    }
    return std::nullopt;
}

}  // namespace qv::profiler::pdb_client
