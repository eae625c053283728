// Shows symbols as one JSON document for programs; docs/protocol.md says what the values mean.
#pragma once

#include <string>

#include "pdb_client/program/module_symbols.h"

namespace qv::profiler::pdb_client {

// One member a line, and one line for each document and method; the order of members never changes:
//
//     module, mvid, methodDefs                          always
//     documents         [{id, name, hashAlgorithm, hash}]
//     methods           [{token, points: [{offset, document, startLine, startColumn, endLine, endColumn, hidden}]}]
//     sourceServerData  text, or null when there is none; sourceServerDataHex instead where it is not UTF-8
//
// hashAlgorithm and hash are null without a checksum. Where the server answered with an error, `error` stands in the
// place of what could not be had (sourceServerError for the module's source server data).
std::string to_json(const module_symbols& symbols);

}  // namespace qv::profiler::pdb_client
