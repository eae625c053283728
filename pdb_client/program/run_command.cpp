#include "pdb_client/program/run_command.h"

#include "pdb_client/program/display_text.h"
#include "pdb_client/program/json_output.h"
#include "pdb_client/program/missing_symbols.h"
#include "pdb_client/program/table_output.h"

namespace qv::profiler::pdb_client {
namespace {

// What can be done about failures that the server answers; found by what its text contains.
struct advice {
    const char* text;
    const char* says;
};
constexpr advice load_advice[] = {
    {"80040154",
     "No reader of classic PDBs is registered: as an administrator, run regsvr32 on the qv_symbols.dll in "
     "the server's folder.\n"},
    {"Invalid MVID for the absolute module path",
     "The server sees another file at this path, or none: it may run under another account.\n"},
};

std::string advice_on(const std::string& error) {
    for (const advice& candidate : load_advice)
        if (error.find(candidate.text) != error.npos) return candidate.says;
    return {};
}

module_symbols ask(session& server, std::uint32_t module_id, const options& wanted, const module_info& module) {
    module_symbols symbols{module, {}, {}, {}};
    if (wanted.what == command::method)
        symbols.methods = {read_method(server, module_id, wanted.token)};
    else if (wanted.what != command::sourcelink)
        symbols.methods = read_methods(server, module_id, module.method_rows);
    if (symbols.methods) symbols.documents = read_documents(server, module_id, *symbols.methods);
    if (wanted.what == command::sourcelink || wanted.what == command::dump)
        symbols.source_server = read_source_server(server, module_id);
    return symbols;
}

std::string to_table(const module_symbols& symbols, const options& wanted) {
    switch (wanted.what) {
        case command::dump: return dump_table(symbols);
        case command::documents: return documents_table(*symbols.documents);
        case command::sourcelink: return {symbols.source_server->data.begin(), symbols.source_server->data.end()};
        case command::method: break;
    }
    const method_symbols& method = symbols.methods->front();
    return method.error.empty() ? method_table_text(method, *symbols.documents) : std::string();
}

void complain(outcome& result, const std::string& about, const std::string& error) {
    if (error.empty()) return;
    result.code = exit_code::error_answer;
    result.messages += about + ": " + printable(std::string_view(error)) + "\n";
}

void complain_about_errors(outcome& result, const module_symbols& symbols) {
    if (symbols.methods)
        for (const method_symbols& method : *symbols.methods)
            complain(result, "method " + token_text(method.token), method.error);
    if (symbols.documents)
        for (const document_symbols& entry : *symbols.documents)
            complain(result, "document " + std::to_string(entry.id), entry.error);
    if (symbols.source_server) complain(result, "source server data", symbols.source_server->error);
}

outcome show(module_symbols symbols, const options& wanted) {
    outcome result;
    complain_about_errors(result, symbols);
    if (wanted.what == command::documents) symbols.methods.reset();
    result.verbatim = wanted.what == command::sourcelink && !wanted.json;
    result.output = wanted.json ? to_json(symbols) : to_table(symbols, wanted);
    if (result.output.empty() && result.messages.empty()) result.messages = "The module has no source server data.\n";
    return result;
}

}  // namespace

std::string misfit(const options& wanted, const module_info& module) {
    if (wanted.what != command::method || (wanted.token & ~method_table) <= module.method_rows) return {};
    if (module.method_rows == 0) return "no methods\n";
    return "no method " + token_text(wanted.token) + "; the last one is " +
           token_text(method_table | module.method_rows) + "\n";
}

outcome run_command(session& server, const options& wanted, const module_info& module) {
    const answer<std::uint32_t> module_id = server.load_module(module.path, module.mvid);
    outcome result;
    if (!module_id.ok()) {
        complain(result, printable(module.path), module_id.error());
        result.messages += advice_on(module_id.error());
    } else if (module_id.value() == 0) {
        result.code = exit_code::error_answer;
        result.messages =
            printable(module.path) + ": no symbols; " + missing_symbols_text(module, wanted.search.search_paths);
    } else {
        result = show(ask(server, module_id.value(), wanted, module), wanted);
    }
    complain(result, "quit", [&] {
        const auto goodbye = server.quit();
        return goodbye.ok() ? std::string() : goodbye.error();
    }());
    return result;
}

}  // namespace qv::profiler::pdb_client
