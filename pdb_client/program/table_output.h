// Shows symbols as aligned text for people: UTF-8, at most 100 columns wherever names allow it, safe for a terminal.
#pragma once

#include <string>

#include "pdb_client/program/module_symbols.h"

namespace qv::profiler::pdb_client {

// Header, documents and every method with its points. Answers that are errors are left out.
std::string dump_table(const module_symbols& symbols);

// One method's points.
std::string method_table_text(const method_symbols& method, const std::vector<document_symbols>& documents);

// The documents, each with its checksum.
std::string documents_table(const std::vector<document_symbols>& documents);

}  // namespace qv::profiler::pdb_client
