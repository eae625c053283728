// The command-line client: asks a symbol server about one module and prints the answers.
#include <windows.h>

#include <optional>

#include "common/module_path.h"
#include "pdb_client/library/pipe_connection.h"
#include "pdb_client/program/console_output.h"
#include "pdb_client/program/display_text.h"
#include "pdb_client/program/module_file.h"
#include "pdb_client/program/run_command.h"
#include "pdb_client/program/spawned_server.h"
#include "qv/diagnostics/error_text.h"
#include "qv/diagnostics/exception.h"
#include "qv/text/path.h"

namespace qv::profiler::pdb_client {
namespace {

// What the exception being handled says, on one line.
std::string caught() {
    const auto description = describe_current_exception();
    std::string text = printable(std::string_view(description.text));
    if (description.continuation) text += ": " + printable(std::string_view(*description.continuation));
    return text + "\n";
}

outcome failure(exit_code code, const std::string& messages) {
    return {code, {}, messages};
}

std::wstring server_beside_this_program() {
    return text::to_wide(text::to_path(module_path(nullptr)).parent_path() / L"pdb_server.exe");
}

outcome converse(const std::wstring& pipe_id, const options& wanted, const module_info& module) {
    pipe_connection pipe(pipe_id, {wanted.timeout, wanted.timeout});
    session symbols(pipe, wanted.search);
    return run_command(symbols, wanted, module);
}

// What can be done about a conversation that failed with this code.
std::string advice_on(std::uint32_t code, const options& wanted) {
    switch (code) {
        case ERROR_FILE_NOT_FOUND:
            if (wanted.spawn) return "pdb_server.exe must lie in this program's folder.\n";
            return "No server listens on this pipe: start pdb_server.exe with the same identifier, or use --spawn.\n";
        case ERROR_BROKEN_PIPE:
        case ERROR_NO_DATA: return "The server has ended the connection; its log says why.\n";
        case ERROR_TIMEOUT:
        case ERROR_PIPE_BUSY: return "--timeout gives the server more time.\n";
        default: return {};
    }
}

std::string advice_on_caught(const options& wanted) {
    try {
        throw;
    } catch (const win32_error_exception& error) {
        const auto* code = error.find<errtag_win32_error>();
        return code != nullptr ? advice_on(*code, wanted) : std::string();
    } catch (...) {
        return {};
    }
}

// The server's own words are shown only where they can explain a failure.
outcome ask_server(const options& wanted, const module_info& module) {
    std::optional<spawned_server> server;
    try {
        if (!wanted.spawn) return converse(wanted.pipe, wanted, module);
        server.emplace(server_beside_this_program(), wanted.server_arguments);
        server->wait_until_ready(wanted.timeout);
        return converse(server->pipe_id(), wanted, module);
    } catch (...) {
        outcome result = failure(exit_code::no_server, caught() + advice_on_caught(wanted));
        if (server) result.messages += printable_lines(server->take_output());
        return result;
    }
}

std::string about(const boost::filesystem::path& file) {
    return printable(file.native()) + ": ";
}

outcome ask_about_module(const options& wanted) {
    module_info module{};
    try {
        module = read_module_file(wanted.module);
    } catch (const win32_error_exception&) {
        return failure(exit_code::error_answer, about(wanted.module) + caught());
    } catch (const exception&) {
        return failure(exit_code::error_answer, about(wanted.module) + "not a managed module: " + caught());
    }
    const std::string misfit_text = misfit(wanted, module);
    if (!misfit_text.empty()) return failure(exit_code::bad_command_line, about(wanted.module) + misfit_text);
    return ask_server(wanted, module);
}

outcome run(const std::vector<std::wstring>& arguments) {
    options wanted;
    try {
        wanted = parse_options(arguments);
    } catch (...) {
        return failure(exit_code::bad_command_line, caught() + "pdb_client --help shows how it is used.\n");
    }
    if (wanted.help) return {exit_code::done, help_text(), {}};
    if (wanted.version) return {exit_code::done, "pdb_client " QV_VERSION "\n", {}};
    return ask_about_module(wanted);
}

}  // namespace
}  // namespace qv::profiler::pdb_client

int wmain(int count, wchar_t** arguments) {
    namespace client = qv::profiler::pdb_client;
    client::outcome result;
    try {
        result = client::run({arguments + (count > 0 ? 1 : 0), arguments + count});
        const bool written = client::write_output(result.output, result.verbatim);
        if (!written)
            result = {client::exit_code::error_answer, {}, result.messages + "The output cannot be written.\n"};
    } catch (...) {
        result = client::failure(client::exit_code::error_answer, client::caught());
    }
    client::write_messages(result.messages);
    return static_cast<int>(result.code);
}
