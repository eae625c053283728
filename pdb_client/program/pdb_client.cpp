// The command-line client: asks a symbol server about one module and prints the answers.
#include <windows.h>

#include <optional>

#include "pdb_client/library/pipe_connection.h"
#include "pdb_client/program/console_output.h"
#include "pdb_client/program/display_text.h"
#include "pdb_client/program/module_file.h"
#include "pdb_client/program/run_command.h"
#include "pdb_client/program/spawned_server.h"
#include "qv/diagnostics/error_text.h"

namespace qv::profiler::pdb_client {
namespace {

outcome failure(exit_code code, const std::string& about, const std::exception& error) {
    return {code, {}, about + printable(one_line_text(error)) + "\n"};
}

std::wstring server_beside_this_program() {
    std::wstring path(32768, L'\0');  // no path is longer
    path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path.substr(0, path.find_last_of(L'\\') + 1) + L"pdb_server.exe";
}

outcome converse(const std::wstring& pipe_id, const options& wanted, const module_info& module) {
    pipe_connection pipe(pipe_id, {wanted.timeout, wanted.timeout});
    session symbols(pipe, wanted.search);
    return run_command(symbols, wanted, module);
}

// The server's own words are shown only where they can explain a failure.
outcome ask_server(const options& wanted, const module_info& module) {
    std::optional<spawned_server> server;
    try {
        if (!wanted.spawn) return converse(wanted.pipe, wanted, module);
        server.emplace(server_beside_this_program());
        server->wait_until_ready(wanted.timeout);
        return converse(server->pipe_id(), wanted, module);
    } catch (const std::exception& error) {
        outcome result = failure(exit_code::no_server, "", error);
        if (server) result.messages += printable_lines(server->take_output());
        return result;
    }
}

outcome run(const std::vector<std::wstring>& arguments) {
    options wanted;
    try {
        wanted = parse_options(arguments);
    } catch (const std::exception& error) {
        outcome result = failure(exit_code::bad_command_line, "", error);
        result.messages += "pdb_client --help shows how it is used.\n";
        return result;
    }
    if (wanted.help) return {exit_code::done, help_text(), {}};
    module_info module{};
    try {
        module = read_module_file(wanted.module);
    } catch (const std::exception& error) {
        return failure(exit_code::error_answer, printable(wanted.module.native()) + ": ", error);
    }
    return ask_server(wanted, module);
}

}  // namespace
}  // namespace qv::profiler::pdb_client

int wmain(int count, wchar_t** arguments) {
    namespace client = qv::profiler::pdb_client;
    try {
        const client::outcome result = client::run({arguments + (count > 0 ? 1 : 0), arguments + count});
        const bool written = client::write_output(result.output);
        client::write_messages(result.messages);
        if (!written) client::write_messages("The output cannot be written.\n");
        return written ? static_cast<int>(result.code) : static_cast<int>(client::exit_code::error_answer);
    } catch (const std::exception& error) {
        client::write_messages(client::printable(std::string_view(error.what())) + "\n");
        return static_cast<int>(client::exit_code::error_answer);
    }
}
