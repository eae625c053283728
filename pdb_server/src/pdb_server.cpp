// Entry point: prepares what the whole process needs and serves the pipe until it is told to stop.
#include <windows.h>

#include <boost/algorithm/string/replace.hpp>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "base/exception.h"
#include "base/holders.h"
#include "core/console_ctrl_hld.h"
#include "diagnostics/error_text.h"
#include "diagnostics/log.h"
#include "pdb_server/src/command_processor.h"
#include "pdb_server/src/host_events.h"
#include "pdb_server/src/options.h"
#include "pdb_server/src/pipe_manager.h"
#include "pdb_server/src/system/windows/clr_host.h"
#include "pdb_server/src/system/windows/symsrv_imports.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr throw_site here{"int __cdecl wmain(const int,const wchar_t *const [])", "pdb_server/src/pdb_server"};

enum exit_code { exit_ok = 0, exit_failure = 1, exit_bad_command_line = 2 };

// --- Words to whoever started the server.

// What is not UTF-8, such as a system text in an old code page, shows as replacement characters.
std::wstring to_display(const std::string& utf8) {
    const int size = static_cast<int>(utf8.size());
    std::wstring result(utf8.size(), L'\0');
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, result.data(), size);
    result.resize(static_cast<std::size_t>(length));
    return result;
}

// Writes the text, whose lines end with "\n", as one piece and at once: UTF-8 for a file or a pipe, the characters
// themselves for a console. A stream that is closed or broken is ignored. Any thread may call.
void write_text(DWORD stream, std::string_view utf8) {
    const auto handle = GetStdHandle(stream);
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return;
    const std::string text = boost::algorithm::replace_all_copy(std::string(utf8), "\n", "\r\n");
    DWORD mode = 0;
    DWORD written = 0;
    if (GetConsoleMode(handle, &mode)) {
        const std::wstring shown = to_display(text);
        WriteConsoleW(handle, shown.data(), static_cast<DWORD>(shown.size()), &written, nullptr);
    } else {
        WriteFile(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    }
}

// --- The server's life.

handle_hld create_stop_event() {
    handle_hld event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!event) throw_win32_error("Can't create event", GetLastError(), here);
    return event;
}

bool handle_console_control(std::uint32_t control_type, HANDLE stop_event) {
    if (control_type != CTRL_C_EVENT) return false;
    log::write_event("S::ConsoleCtrl", "Ctrl+C");
    write_text(STD_OUTPUT_HANDLE, "Ctrl-C was detected\n");
    SetEvent(stop_event);
    return true;
}

void signal_ready(const std::wstring& pipe) {
    if (set_external_ready_signal(pipe)) log::write_state("S::SetExternalReadySignal", log::state::ok);
    write_text(STD_OUTPUT_HANDLE, "Press Ctrl-C to terminate...\n");
}

void serve(const server_options& options) {
    clr_host::load();
    symsrv_imports::init(options.symsrv_dir);
    const handle_hld stop_event = create_stop_event();
    external_stop_request host_request(options.stop_request_event);
    const quorvex::common::os::console_ctrl_hld control_handler(
        [&](std::uint32_t control_type) { return handle_console_control(control_type, stop_event.get()); });

    platform_services services = system_services();
    if (options.local_paths_only) services.may_look_at = &is_local_path;

    pipe_manager_params params;
    params.pipe_name = options.pipe;
    if (options.local_clients_only) params.clients = client_range::this_machine;
    if (options.new_pipe_only) params.name = pipe_name_use::new_only;
    params.stop = [&] { return WaitForSingleObject(stop_event.get(), 0) == WAIT_OBJECT_0 || host_request.requested(); };
    params.process_commands = [&](const auto& stop, const auto& wait, packet_reader* reader, packet_writer* writer) {
        process_commands(stop, wait, reader, writer, services);
    };
    run_pipes(params, [&] { signal_ready(options.pipe); });

    if (host_request.requested()) {
        log::write_state("S::HasExternalStopRequest", log::state::ok);
        write_text(STD_OUTPUT_HANDLE, "External stop request was detected\n");
    }
}

// The first line is for whoever started the server, the rest for whoever has to find out why it did not run.
void tell_exception(const std::string& text, const std::string& details) {
    write_text(STD_OUTPUT_HANDLE, "Exception: " + text + "\n");
    if (!details.empty()) write_text(STD_ERROR_HANDLE, details);
}

// Tells of the exception being handled. Failures that are not the program's own have no text that its host knows.
void report_exception() noexcept {
    log::write_error();
    try {
        throw;
    } catch (const exception& error) {
        tell_exception(one_line_text(error), diagnostic_text(error));
    } catch (const std::bad_alloc&) {
        tell_exception("Out of memory", "");
    } catch (...) {
        const auto description = describe_current_exception();
        tell_exception("Unknown exception",
                       description.text + "\n" + (description.continuation ? *description.continuation + "\n" : ""));
    }
}

void open_log(const server_options& options) {
    if (options.log_file.empty()) return;
    log::Logger::instance().open(options.log_file);
    log::Logger::instance().set_components(options.log_mask);
}

int run(const std::vector<std::wstring>& arguments) noexcept {
    int result = exit_ok;
    server_options options;
    try {
        write_text(STD_OUTPUT_HANDLE, "PDB Server v" QV_VERSION ", by the PDB Server authors\n");
        options = parse_options(arguments);
        open_log(options);
        if (options.pipe.empty()) throw_error("Id can't be empty", here);
        serve(options);
    } catch (...) {
        report_exception();
        // A command line without a pipe, or none that can be read, is the caller's fault.
        result = options.pipe.empty() ? exit_bad_command_line : exit_failure;
    }
    log::Logger::instance().close();
    return result;
}

}  // namespace
}  // namespace qv::profiler::pdb_server

// Declared for compilers that warn of an entry point they do not know.
extern "C" int wmain(int argc, wchar_t* argv[]);

int wmain(int argc, wchar_t* argv[]) {
    return qv::profiler::pdb_server::run({argv + (argc > 0 ? 1 : 0), argv + argc});
}
