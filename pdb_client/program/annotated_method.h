// Shows a method as its source lines.
#pragma once

#include <boost/filesystem/path.hpp>
#include <vector>

#include "pdb_client/program/method_names.h"
#include "pdb_client/program/module_symbols.h"
#include "pdb_client/program/output.h"

namespace qv::profiler::pdb_client {

struct annotated_method {
    const method_symbols& method;
    const method_names& names;
    const document_map& documents;                            // those of the points, at least
    const std::vector<boost::filesystem::path>& directories;  // where sources are looked for besides the recorded path
};

// One part for each document: its source with the points marked, or the table of its points where there is no source.
// Answers whether there was all that was wanted. An error answer shows nothing.
bool show_annotated(const annotated_method& shown, output& out);

}  // namespace qv::profiler::pdb_client
