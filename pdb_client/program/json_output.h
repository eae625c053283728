// Shows symbols as one JSON document for programs; docs/protocol.md says what the values mean.
#pragma once

#include <boost/json/fwd.hpp>
#include <string>

#include "pdb_client/program/presenter.h"

namespace qv::profiler::pdb_client {

// Writes an object, one member a line, and one line for each element of a list.
class json_lines {
public:
    explicit json_lines(output& out) : out_(out) {}

    void add(const char* name, const boost::json::value& value);
    void begin_list(const char* name);
    void add_element(const boost::json::value& value);
    void end_list();
    void finish();

private:
    output& out_;
    const char* separator_ = "{\n  ";  // before the next member
    const char* element_separator_ = "";
};

// The members with which every document begins: module, mvid, methodDefs.
void add_module(json_lines& lines, const module_info& module);

// Text of the server or of a file, which is UTF-8 at best.
boost::json::value json_text(const std::string& bytes);

// The order of members never changes:
//
//     module, mvid, methodDefs                          always
//     methods           [{token, name, points: [{offset, document, startLine, startColumn, endLine, endColumn,
//     hidden}]}] documents         [{id, name, hashAlgorithm, hash}]; with `methods`, a list of {token, name}, for that
//     command sourceServerData  text, or null when there is none; sourceServerDataHex instead where it is not UTF-8
//
// A method's name is null where the image's metadata do not tell it, hashAlgorithm and hash are null without a
// checksum. Where the server answered with an error, `error` stands in the place of what could not be had
// (sourceServerError for the module's source server data).
class json_presenter final : public presenter {
public:
    json_presenter(command what, const module_info& module, output& out) : what_(what), module_(module), lines_(out) {}

    void begin() override;
    void begin_methods() override;
    void method(const method_symbols& symbols, const document_map& documents) override;
    void documents(const document_map& all) override;
    void source_server(const source_server_symbols& symbols) override;
    void end() override;

private:
    void end_methods();

    command what_;
    const module_info& module_;
    json_lines lines_;
    bool in_methods_ = false;
};

// The methods that a name of the command line fits: module, mvid, methodDefs, matches [{token, name}].
void show_matches(const std::vector<std::uint32_t>& tokens, const module_info& module, output& out);

}  // namespace qv::profiler::pdb_client
