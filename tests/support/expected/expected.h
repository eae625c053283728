// The answers that a correct reader gives about one module, kept as JSON beside it.
//
// image             file name of the module, in the folder of the JSON file
// mvid, methodDefs  what identifies it: module version id, rows of the MethodDef table
// format            "portable", "windows", or null when the module has no symbols
// embedded, match   whether the PDB lies in the image; whether it belongs to the image
// sourceServerData  Source Link document or source-server stream, or null
// documents         row, name, hashAlgorithm (MD5, SHA1, SHA256 or a GUID) and hash in hex; both null without a hash
// methods           token and points of the methods that have any; a point is
//                   [IL offset, document row, start line, start column, end line, end column]
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/expected/symbol_source.h"

namespace qv::testing {

struct expected_point {
    std::uint32_t offset;
    source_range range;

    friend bool operator==(const expected_point&, const expected_point&) = default;
};

struct expected_module {
    boost::filesystem::path image;
    GUID mvid;
    std::uint32_t method_rows;
    std::string format;  // empty for null
    bool embedded;
    bool match;
    std::vector<std::uint8_t> source_server_data;
    std::map<std::uint32_t, document> documents;                   // by row
    std::map<std::uint32_t, std::vector<expected_point>> methods;  // by token
};

// The files named expected.json or *.expected.json in the folder and below it, in a fixed order.
std::vector<boost::filesystem::path> find_expected(const boost::filesystem::path& folder);

// Throws std::runtime_error, or what Boost.JSON throws, where the file does not read as above.
expected_module load_expected(const boost::filesystem::path& file);

// The same from the JSON text of a file in `folder`.
expected_module parse_expected(std::string_view json, const boost::filesystem::path& folder);

}  // namespace qv::testing
