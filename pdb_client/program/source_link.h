// Source Link documents: JSON that maps the paths of a build to URLs.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qv::profiler::pdb_client {

// {"documents": {"C:\\src\\*": "https://host/commit/*", "/_/a.cs": "https://..."}}: a path may end with "*", which
// stands for the rest of a document's path; its URL then has one "*", where the rest goes with "/" for "\" and escaped
// as URLs need it. The case of ASCII letters does not count, and the longest path that fits a document holds for it.
class source_link {
public:
    // Entries that are not of this form are left out. Throws qv::exception for what is no such document at all.
    explicit source_link(std::string_view json);

    std::optional<std::string> url_of(std::string_view document) const;

private:
    struct entry {
        std::string path;  // without "*"
        bool is_prefix;
        std::string url;
    };

    std::vector<entry> entries_;  // the longest path first
};

}  // namespace qv::profiler::pdb_client
