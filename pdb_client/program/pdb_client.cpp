// The command-line client: asks a symbol server about one module and prints the answers.
#include <windows.h>

// After <windows.h>, whose types it uses.
#include <objbase.h>

#include <boost/filesystem/operations.hpp>
#include <memory>
#include <optional>

#include "base/exception.h"
#include "base/module_path.h"
#include "diagnostics/error_text.h"
#include "pdb_client/library/pipe_connection.h"
#include "pdb_client/program/console_output.h"
#include "pdb_client/program/display_text.h"
#include "pdb_client/program/explanation.h"
#include "pdb_client/program/mistaken_pdb.h"
#include "pdb_client/program/module_file.h"
#include "pdb_client/program/progress_bar.h"
#include "pdb_client/program/run_command.h"
#include "pdb_client/program/spawned_server.h"
#include "pdb_client/program/verification.h"
#include "pdb_server/src/system/windows/clr_host.h"
#include "pdb_server/src/system/windows/symsrv_imports.h"
#include "text/path.h"

namespace qv::profiler::pdb_client {
namespace {

// What the exception being handled says, on one line.
std::string caught() {
    const auto description = describe_current_exception();
    std::string text = printable(std::string_view(description.text));
    if (description.continuation) text += ": " + printable(std::string_view(*description.continuation));
    return text + "\n";
}

std::wstring server_beside_this_program() {
    return text::to_wide(text::to_path(module_path(nullptr)).parent_path() / L"pdb_server.exe");
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

std::unique_ptr<pipe_connection> connect(const std::wstring& pipe_id, const options& wanted) {
    return std::make_unique<pipe_connection>(pipe_id, time_limits{wanted.timeout, wanted.timeout});
}

// Calls `converse` with the pipe identifier of the server that the command line means. The server's own words are shown
// only where they can explain a failure.
template <class Converse>
outcome with_server(const options& wanted, Converse converse) {
    std::optional<spawned_server> server;
    try {
        if (!wanted.spawn) return converse(wanted.pipe);
        server.emplace(server_beside_this_program(), wanted.server_arguments);
        server->wait_until_ready(wanted.timeout);
        return converse(server->pipe_id());
    } catch (const output_ended&) {
        throw;
    } catch (...) {
        outcome result{exit_code::no_server, caught() + advice_on_caught(wanted)};
        if (server) result.messages += printable_lines(server->take_output());
        return result;
    }
}

std::string about(const boost::filesystem::path& file) {
    return printable(file.native()) + ": ";
}

// For the reader of classic PDBs that the machine may have.
class com_apartment {
public:
    com_apartment() : result_(::CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {
        if (FAILED(result_)) throw_hresult_error("Can't initialize COM", result_);
    }
    ~com_apartment() { ::CoUninitialize(); }
    com_apartment(const com_apartment&) = delete;
    com_apartment& operator=(const com_apartment&) = delete;

private:
    HRESULT result_;
};

// Why symbol servers cannot be asked; empty where they can.
std::string load_symbol_server_library(const options& wanted) {
    try {
        constexpr bool tells = true;
        pdb_server::symsrv_imports::init(wanted.symsrv_dir, tells);
        return {};
    } catch (const exception&) {
        return "not asked, for want of SymSrv.dll: " + caught();
    }
}

outcome explain_module(const options& wanted, const module_info& module, output& out) {
    const com_apartment apartment;
    pdb_server::clr_host::load();
    std::string note = load_symbol_server_library(wanted);
    if (note.ends_with('\n')) note.pop_back();
    return explain(wanted, module, pdb_server::system_services(), note, out);
}

outcome ask_about_module(options& wanted, output& out) {
    module_info module{};
    try {
        module = read_module_file(wanted.module);
    } catch (const win32_error_exception&) {
        return {exit_code::error_answer, about(wanted.module) + caught()};
    } catch (const exception&) {
        const std::string pdb_text = mistaken_pdb_text(wanted.module);
        return {exit_code::error_answer,
                about(wanted.module) + (pdb_text.empty() ? "not a managed module: " + caught() : pdb_text)};
    }
    if (wanted.is_about_a_method())
        if (auto end = settle_method(wanted, module, out)) return *std::move(end);
    if (wanted.what == command::explain) return explain_module(wanted, module, out);
    return with_server(wanted, [&](const std::wstring& pipe_id) {
        const auto pipe = connect(pipe_id, wanted);
        session symbols(*pipe, wanted.search);
        return run_command(symbols, wanted, module, out);
    });
}

outcome verify_directory(const options& wanted, output& out) {
    boost::system::error_code error;
    if (!boost::filesystem::is_directory(text::to_system_path(boost::filesystem::system_complete(wanted.module)),
                                         error))
        return {exit_code::bad_command_line, about(wanted.module) + "no such directory\n"};
    return with_server(wanted, [&](const std::wstring& pipe_id) {
        progress_bar shown;
        return verify(
            wanted, [&] { return connect(pipe_id, wanted); }, out, shown);
    });
}

outcome run(const std::vector<std::wstring>& arguments, output& out) {
    options wanted;
    try {
        wanted = parse_options(arguments);
    } catch (...) {
        return {exit_code::bad_command_line, caught() + "pdb_client --help shows how it is used.\n"};
    }
    if (wanted.help || wanted.version) {
        out.write(wanted.help ? help_text() : "pdb_client " QV_VERSION "\n");
        return {};
    }
    return wanted.what == command::verify ? verify_directory(wanted, out) : ask_about_module(wanted, out);
}

// A reader that goes before the end has what it wanted.
outcome run_to_the_end(const std::vector<std::wstring>& arguments) {
    try {
        standard_output out;
        return run(arguments, out);
    } catch (const output_ended& end) {
        if (end.by_its_reader()) return {};
        return {exit_code::error_answer, std::string(end.what()) + "\n"};
    } catch (...) {
        return {exit_code::error_answer, caught()};
    }
}

}  // namespace
}  // namespace qv::profiler::pdb_client

int wmain(int count, wchar_t** arguments) {
    namespace client = qv::profiler::pdb_client;
    const client::outcome result = client::run_to_the_end({arguments + (count > 0 ? 1 : 0), arguments + count});
    client::write_messages(result.messages);
    return static_cast<int>(result.code);
}
