// Source Link: a JSON document that says where on the web the source files are.
//
// A linker keeps the document of each of its inputs in a stream of its own: "sourcelink", "sourcelink$1" and so on. Who
// asks wants one document.
#pragma once

#include <vector>

#include "symbol_services/classic_reader/msf.h"
#include "symbol_services/classic_reader/names.h"

namespace qv::classic_reader {

// The one document as it is recorded. Several become one with the mappings of all: they are joined in the order of
// their numbers, and of two mappings for one path the first stays. Those that are no Source Link documents are left
// out, and where none is one, the first is given as it is. Empty without any.
std::vector<unsigned char> read_source_link(const msf_file& file, const named_streams& names);

}  // namespace qv::classic_reader
