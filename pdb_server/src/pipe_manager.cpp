#include "pdb_server/src/pipe_manager.h"

#include <windows.h>

#include <algorithm>

#include "base/exception.h"
#include "pdb_server/src/pipe_manager_state.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr const char* context = "S::RunPipes";
constexpr throw_site run_pipes_site{
    "void __cdecl qv::profiler::pdb_server::run_pipes(const struct qv::profiler::pdb_server::pipe_manager_params "
    "&,const class std::function<void __cdecl(void)> &)",
    "pdb_server/src/pipe_manager"};

constexpr DWORD tick_ms = 100;
constexpr unsigned report_every_ticks = 3;
constexpr std::uint32_t longest_pause_ticks = 10;

void wait_for_first_listener(pipe_manager_state& state) {
    while (!state.ask_host() && !state.has_listened()) {
        if (state.unfinished_count == 0) state.rethrow_first_failure();
        WaitForSingleObject(state.listening_event.get(), tick_ms);
    }
}

void start_listener(pipe_manager_state& state) noexcept {
    try {
        run_new_thread(state);
    } catch (...) {
        state.note_failure();
        log::write_error();
    }
}

// Starts at most one worker each tick, and fewer while the system refuses them: every attempt leaves log records.
void keep_listeners(pipe_manager_state& state) {
    std::uint32_t ticks_since_start = longest_pause_ticks;
    while (!state.ask_host()) {
        const std::uint32_t pause = std::min(state.failures_in_a_row(), longest_pause_ticks);
        if (state.listener_count < wanted_listeners && ticks_since_start >= pause) {
            start_listener(state);
            ticks_since_start = 0;
        }
        Sleep(tick_ms);
        ++ticks_since_start;
    }
}

void write_shutdown_record(const char* result, DWORD start) {
    const unsigned long elapsed = GetTickCount() - start;
    write_host_record(context, result, [&](log::TextStream& out) { out.key("shutdownTimeInMs").Dec(elapsed); });
}

void shut_down(pipe_manager_state& state) noexcept {
    write_host_record(context, "shutdowning");
    const DWORD start = GetTickCount();
    for (unsigned ticks = 1; state.unfinished_count != 0; ++ticks) {
        // Each time, should the system have refused: without it a worker may wait for ever.
        SetEvent(state.stop_event.get());
        Sleep(tick_ms);
        if (ticks % report_every_ticks == 0) write_shutdown_record("shutdowning", start);
    }
    // Cut short on purpose: readers of the log know the word as it stands.
    write_shutdown_record("shutdow", start);
}

handle_hld create_event() {
    handle_hld event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!event) throw_win32_error("Can't create event", GetLastError(), run_pipes_site);
    return event;
}

}  // namespace

pipe_manager_state::pipe_manager_state(const pipe_manager_params& parameters)
    : params(parameters), stop_event(create_event()), listening_event(create_event()) {}

bool pipe_manager_state::ask_host() {
    if (params.stop()) stopping_ = true;
    return stopping();
}

void pipe_manager_state::note_listener() noexcept {
    if (!has_listened_.exchange(true)) SetEvent(listening_event.get());
    failures_in_a_row_ = 0;
}

void pipe_manager_state::note_failure() noexcept {
    ++failures_in_a_row_;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!first_failure_) first_failure_ = std::current_exception();
}

void pipe_manager_state::rethrow_first_failure() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!has_listened() && first_failure_) std::rethrow_exception(first_failure_);
}

void run_pipes(const pipe_manager_params& params, const std::function<void()>& ready) {
    pipe_manager_state state(params);
    std::exception_ptr failure;
    try {
        write_host_record(context, "starting");
        run_new_thread(state);
        wait_for_first_listener(state);
        log::write_state(context, log::state::started);
        ready();
        keep_listeners(state);
    } catch (...) {
        failure = std::current_exception();
        state.cancel();
    }
    shut_down(state);
    if (failure) std::rethrow_exception(failure);
}

}  // namespace qv::profiler::pdb_server
