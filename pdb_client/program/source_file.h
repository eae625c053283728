// The source file of a document, found on this machine.
#pragma once

#include <boost/filesystem/path.hpp>
#include <optional>
#include <string>
#include <vector>

#include "pdb_client/library/session.h"

namespace qv::profiler::pdb_client {

// How a file compares with the checksum that the compiler recorded; the best comes first.
enum class checksum_verdict {
    matches,
    other_line_ends,  // it would match with CR LF for LF or the reverse, as version control changes them
    differs,
    unchecked  // there is no checksum, or of an algorithm that is not known
};

struct source_file {
    boost::filesystem::path place;
    std::string bytes;
    checksum_verdict verdict;
};

checksum_verdict check(std::string_view bytes, const document& recorded);

// Looks at the recorded path, then below each of the directories for the recorded path without its first parts, the
// longest first. The first file that the checksum fits is taken, else the first of all. A recorded path on the network
// is not looked at: opening it would tell another machine who the user is.
std::optional<source_file> find_source(const document& recorded,
                                       const std::vector<boost::filesystem::path>& directories);

}  // namespace qv::profiler::pdb_client
