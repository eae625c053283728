// Finds the classic PDB file of an image.
//
// An image names its PDB file in CodeView records of its debug directory (qv/portable_executable/codeview.h). A file
// belongs to the image when GUID and age are those of a record. The age is the one of the DBI stream; time stamps do
// not count. The places are tried in this order, for each record in directory order (the first 16 at most):
//
//   1. the recorded path, if it is absolute                         (policy_original_path)
//   2. beside the image, under the recorded file name and under     (policy_reference_path)
//      the image's own name
//   3. the elements of the search path in their order: directories, and symbol-server elements ("srv*", "symsrv*",
//      "cache*"), which are answered by a callback                  (policy_symbol_server)
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/guid.h"
#include "common/search_observer.h"
#include "common/symbol_search.h"
#include "symbol_services/classic_reader/pdb.h"

namespace qv::classic_reader {

struct codeview_record {
    GUID guid;
    std::uint32_t age;
    std::wstring path;

    std::wstring file_name() const;  // what follows the last slash of either kind
};

// None when the data is no record of this kind, or its path is no text.
std::optional<codeview_record> parse_codeview(std::span<const unsigned char> data);

// Asks a symbol server with the parameters of text/symbol_path.h: the path of a file that has the
// record's name, GUID and age, or none.
using server_function = std::function<std::optional<boost::filesystem::path>(const std::wstring& parameters,
                                                                             const codeview_record& record)>;

struct pdb_search {
    boost::filesystem::path image;
    std::vector<codeview_record> records;
    std::wstring search_path;  // elements separated by ';'
    std::uint32_t policy;      // bits of search_policy
    server_function server;    // may be empty
    search_observer observer = {};
};

struct located_pdb {
    boost::filesystem::path path;
    std::shared_ptr<const pdb> file;
};

// Throws e_pdb_no_debug_info without records, e_pdb_not_found without files, and where files were found but none of
// them belongs to the image, why the first of those did not: e_pdb_invalid_sig, e_pdb_invalid_age, or what opening it
// threw.
located_pdb locate_pdb(const pdb_search& search);

}  // namespace qv::classic_reader
