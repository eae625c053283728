// The ordered list of symbol search path elements.
#pragma once

#include <boost/filesystem/path.hpp>
#include <string>
#include <vector>

namespace qv::profiler::pdb_server {

// Elements exactly as given: directories or symbol-server specifications, empty ones included.
using search_path_list = std::vector<boost::filesystem::path>;

// The list as symbol readers and libraries take it: all elements, joined by ";". A list beyond what an environment
// variable could hold comes in several pieces, so that no one is asked to go through a very long list at one stroke.
// Each further piece begins with the "cache*" elements of those before it, which go for all that follow them.
class search_path_pieces {
public:
    static constexpr std::size_t most_elements = 1024;
    static constexpr std::size_t most_characters = 32767;  // an element that is longer makes a piece of its own

    // `elements` must outlive the object.
    explicit search_path_pieces(const search_path_list& elements) : elements_(elements) {}

    // The next piece; an empty list has one, which is empty.
    std::wstring next();
    bool at_end() const { return next_ == elements_.size(); }

private:
    const search_path_list& elements_;
    std::size_t next_ = 0;
    std::wstring caches_;
};

}  // namespace qv::profiler::pdb_server
