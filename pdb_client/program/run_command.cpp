#include "pdb_client/program/run_command.h"

#include "pdb_client/program/annotated_method.h"
#include "pdb_client/program/columns.h"
#include "pdb_client/program/display_text.h"
#include "pdb_client/program/json_output.h"
#include "pdb_client/program/missing_symbols.h"
#include "pdb_client/program/source_origins.h"
#include "pdb_client/program/table_output.h"
#include "text/path.h"

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

void complain(outcome& result, const std::string& about, const std::string& error) {
    if (error.empty()) return;
    result.code = exit_code::error_answer;
    result.messages += about + ": " + printable(std::string_view(error)) + "\n";
}

// One loaded module while it is asked and shown.
class inquiry {
public:
    inquiry(session& server, std::uint32_t module_id, const options& wanted, const module_info& module, output& out)
        : out_(out),
          server_(server),
          module_id_(module_id),
          wanted_(wanted),
          module_(module),
          shown_(make_presenter(wanted, module, out)) {}

    outcome run() {
        shown_->begin();
        switch (wanted_.what) {
            case command::method: ask_methods(); break;
            case command::documents: ask_documents(); break;
            case command::sourcelink: ask_source_server(); break;
            case command::annotate: annotate(); break;
            case command::verify:
            case command::explain: break;  // not done in one session
            case command::dump:
                ask_methods();
                ask_source_server();
                break;
        }
        shown_->end();
        return std::move(result_);
    }

private:
    void ask_methods() {
        shown_->begin_methods();
        if (wanted_.what == command::method)
            show(read_method(server_, module_id_, wanted_.token));
        else
            for_each_method(module_, [&](std::uint32_t token) {
                const method_symbols method = read_method(server_, module_id_, token);
                if (!method.points.empty() || !method.error.empty()) show(method);
            });
        show_documents();
    }

    void show(const method_symbols& method) {
        learn(method);
        shown_->method(method, documents_);
    }

    void ask_documents() {
        for_each_method(module_, [&](std::uint32_t token) {
            const method_symbols method = read_method(server_, module_id_, token);
            learn(method);
            for (const sequence_point& point : method.points) {
                std::vector<std::uint32_t>& methods = documents_.at(point.range.document_id).methods;
                if (methods.empty() || methods.back() != token) methods.push_back(token);
            }
        });
        show_documents();
    }

    void learn(const method_symbols& method) {
        complain(result_, "method " + method_title(method.token, module_.names), method.error);
        learn_documents(server_, module_id_, method, documents_);
    }

    void show_documents() {
        for (const auto& [id, entry] : documents_) complain(result_, "document " + std::to_string(id), entry.error);
        add_origins();
        shown_->documents(documents_);
    }

    void ask_source_server() {
        const source_server_symbols answer = read_source_server(server_, module_id_);
        complain(result_, "source server data", answer.error);
        if (wanted_.what == command::sourcelink && !wanted_.json && answer.data.empty() && answer.error.empty())
            result_.messages = "The module has no source server data.\n";
        shown_->source_server(answer);
    }

    // Where the documents can be fetched from, if that was asked for.
    void add_origins() {
        if (!wanted_.url) return;
        const source_server_symbols answer = read_source_server(server_, module_id_);
        complain(result_, "source server data", answer.error);
        const source_origins origins(answer.data);
        for (auto& [id, entry] : documents_) entry.origin = origins.origin_of(entry.content.url);
    }

    void annotate() {
        const method_symbols method = read_method(server_, module_id_, wanted_.token);
        learn(method);
        add_origins();
        std::vector<boost::filesystem::path> directories = wanted_.source_roots;
        directories.push_back(text::to_path(module_.path).parent_path());
        const annotated_method shown{method, module_.names, documents_, directories};
        if (!show_annotated(shown, out_)) result_.code = exit_code::error_answer;
    }

    output& out_;
    session& server_;
    const std::uint32_t module_id_;
    const options& wanted_;
    const module_info& module_;
    std::unique_ptr<presenter> shown_;
    document_map documents_;
    outcome result_;
};

// The methods that a name fits, instead of any of them.
void list_methods(const std::vector<std::uint32_t>& tokens, const options& wanted, const module_info& module,
                  output& out) {
    if (wanted.json) {
        show_matches(tokens, module, out);
        return;
    }
    for (const std::uint32_t token : tokens) out.write(method_title(token, module.names) + "\n");
}

outcome misfit(const module_info& module, const std::string& why) {
    return {exit_code::bad_command_line, printable(file_name(module.path)) + ": " + why + "\n"};
}

}  // namespace

std::string advice_on(const std::string& error) {
    for (const advice& candidate : load_advice)
        if (error.find(candidate.text) != error.npos) return candidate.says;
    return {};
}

std::unique_ptr<presenter> make_presenter(const options& wanted, const module_info& module, output& out) {
    if (wanted.json) return std::make_unique<json_presenter>(wanted.what, module, out);
    return std::make_unique<table_presenter>(wanted.what, module, out);
}

std::optional<outcome> settle_method(options& wanted, const module_info& module, output& out) {
    if (!wanted.method_name.empty()) {
        const std::vector<std::uint32_t> found = module.names.find(wanted.method_name);
        const std::string name = std::string("'").append(printable(std::string_view(wanted.method_name))).append("'");
        if (found.empty()) return misfit(module, "no method " + name);
        if (found.size() > 1) {
            list_methods(found, wanted, module, out);
            return misfit(module, std::to_string(found.size()) + " methods fit " + name + "; give one by its token");
        }
        wanted.token = found[0];
    }
    if ((wanted.token & ~method_table) <= module.method_rows) return {};
    if (module.method_rows == 0) return misfit(module, "no methods");
    return misfit(module, "no method " + token_text(wanted.token) + "; the last one is " +
                              token_text(method_table | module.method_rows));
}

outcome run_command(session& server, const options& wanted, const module_info& module, output& out) {
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
        result = inquiry(server, module_id.value(), wanted, module, out).run();
    }
    const auto goodbye = server.quit();
    if (!goodbye.ok()) complain(result, "quit", goodbye.error());
    return result;
}

}  // namespace qv::profiler::pdb_client
