// What the program knows about a module and what it has asked the server, apart from how that is shown.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "pdb_client/library/session.h"
#include "pdb_client/program/pdb_identity.h"

namespace qv::profiler::pdb_client {

struct module_info {
    std::wstring path;  // absolute
    GUID mvid;
    std::uint32_t method_rows;  // of the MethodDef table
    symbol_kind symbols;
    pdb_identity pdb;          // of the file that the image names; zero for none and embedded
    std::string recorded_pdb;  // its path as the compiler wrote it: untrusted bytes, may be empty
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
    std::uint32_t id;
    document content;
    std::string error;
};

struct source_server_symbols {
    std::vector<std::uint8_t> data;
    std::string error;
};

// The answers to one command; what was not asked for has no value.
struct module_symbols {
    module_info module;
    std::optional<std::vector<document_symbols>> documents;  // by id
    std::optional<std::vector<method_symbols>> methods;      // by token
    std::optional<source_server_symbols> source_server;
};

// The documents that these methods' points lie in, by id. The protocol has no list of documents: one that no point
// refers to is not known to a client.
std::vector<document_symbols> read_documents(session& server, std::uint32_t module_id,
                                             const std::vector<method_symbols>& methods);

// The points of one method. Throws qv::exception where the two answers do not belong together.
method_symbols read_method(session& server, std::uint32_t module_id, std::uint32_t method_token);

// All methods that have points or an error.
std::vector<method_symbols> read_methods(session& server, std::uint32_t module_id, std::uint32_t method_rows);

source_server_symbols read_source_server(session& server, std::uint32_t module_id);

}  // namespace qv::profiler::pdb_client
