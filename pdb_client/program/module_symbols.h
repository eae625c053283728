// What the program knows about a module and what it has asked the server, apart from how that is shown.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "pdb_client/library/session.h"
#include "pdb_client/program/method_names.h"
#include "pdb_client/program/pdb_identity.h"

namespace qv::profiler::pdb_client {

struct module_info {
    std::wstring path;  // absolute
    GUID mvid;
    std::uint32_t method_rows;  // of the MethodDef table
    symbol_kind symbols;
    pdb_identity pdb;          // of the file that the image names; zero for none and embedded
    std::string recorded_pdb;  // its path as the compiler wrote it: untrusted bytes, may be empty
    method_names names;
};

struct sequence_point {
    std::uint32_t offset;
    source_range range;
};

// An `error` is the server's text for this one question; it is empty when the rest is good.
struct method_symbols {
    std::uint32_t token;
    std::vector<sequence_point> points;
    std::string error;
};

struct document_symbols {
    document content;
    std::string error;
    std::vector<std::uint32_t> methods;  // the tokens of those that have points in it, where that was asked for
    std::optional<std::string> origin;   // where it can be fetched from, likewise: a URL or a command
};

struct source_server_symbols {
    std::vector<std::uint8_t> data;
    std::string error;
};

// Every document that has been asked for, by id.
using document_map = std::map<std::uint32_t, document_symbols>;

// Adds the documents that the method's points lie in, as far as they are not known. The protocol has no list of
// documents: one that no point refers to is not known to a client.
void learn_documents(session& server, std::uint32_t module_id, const method_symbols& method, document_map& documents);

// The points of one method. Throws qv::exception where the two answers do not belong together.
method_symbols read_method(session& server, std::uint32_t module_id, std::uint32_t method_token);

source_server_symbols read_source_server(session& server, std::uint32_t module_id);

// Calls `use` with the token of every method that the module has.
template <class Use>
void for_each_method(const module_info& module, Use use) {
    constexpr std::uint32_t max_row = 0xFFFFFF;  // what a token can carry
    for (std::uint32_t row = 1; row <= std::min(module.method_rows, max_row); ++row) use(method_table | row);
}

}  // namespace qv::profiler::pdb_client
