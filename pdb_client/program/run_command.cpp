#include "pdb_client/program/run_command.h"

#include "pdb_client/program/display_text.h"
#include "pdb_client/program/json_output.h"
#include "pdb_client/program/table_output.h"

namespace qv::profiler::pdb_client {
namespace {

std::string no_symbols_text(const module_info& module) {
    const std::string recorded = printable(std::string_view(module.recorded_pdb));
    switch (module.symbols) {
        case symbol_kind::none: return "the image names no symbols: it was built without a PDB";
        case symbol_kind::embedded: return "the portable PDB in the image was not accepted";
        case symbol_kind::portable: return "its portable PDB was not found, or is of another build: " + recorded;
        case symbol_kind::classic: break;
    }
    return "its Windows PDB was not found, or cannot be read there: " + recorded;
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

std::string source_server_text(const source_server_symbols& symbols) {
    std::string text =
        printable_lines(std::string_view(reinterpret_cast<const char*>(symbols.data.data()), symbols.data.size()));
    if (!text.empty() && text.back() != '\n') text += '\n';
    return text;
}

std::string to_table(const module_symbols& symbols, const options& wanted) {
    switch (wanted.what) {
        case command::dump: return dump_table(symbols);
        case command::documents: return documents_table(*symbols.documents);
        case command::sourcelink: return source_server_text(*symbols.source_server);
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
    result.output = wanted.json ? to_json(symbols) : to_table(symbols, wanted);
    if (result.output.empty() && result.messages.empty()) result.messages = "The module has no source server data.\n";
    return result;
}

}  // namespace

outcome run_command(session& server, const options& wanted, const module_info& module) {
    const answer<std::uint32_t> module_id = server.load_module(module.path, module.mvid);
    outcome result;
    if (!module_id.ok()) {
        complain(result, printable(module.path), module_id.error());
    } else if (module_id.value() == 0) {
        complain(result, printable(module.path), "no symbols; " + no_symbols_text(module));
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
