// What the manager and its workers share.
#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <mutex>

#include "base/holders.h"
#include "diagnostics/log.h"
#include "pdb_server/src/pipe_manager.h"

namespace qv::profiler::pdb_server {

// Idle workers that wait for a client.
constexpr std::uint32_t wanted_listeners = 3;

// Made by run_pipes, which outlives every worker. Any thread may use it.
class pipe_manager_state {
public:
    explicit pipe_manager_state(const pipe_manager_params& parameters);

    const pipe_manager_params params;

    std::atomic<std::uint32_t> worker_count{0};    // workers started and not yet exited
    std::atomic<std::uint32_t> listener_count{0};  // workers waiting for a client

    // Workers from before their start until after their last log record: the manager waits for these, so that nothing
    // is recorded, and nothing of this object used, once it has returned.
    std::atomic<std::uint32_t> unfinished_count{0};

    // Instances of the pipe that are open. They are created and closed under the mutex: the name is the server's own as
    // long as there is one.
    std::mutex instances_mutex;
    std::uint32_t open_instances = 0;

    // Signalled when the shutdown begins: from then on clients are waited for only so long.
    const handle_hld stop_event;

    // Signalled when the first worker waits for a client: the host need not wait for a turn of the manager.
    const handle_hld listening_event;

    // Workers ask before every command and in every turn of a search, so this costs them no call of the system: the
    // manager asks the host for them, ten times a second.
    bool stopping() const noexcept { return stopping_.load(); }
    bool ask_host();
    void cancel() noexcept { stopping_ = true; }

    // A worker waits for a client now.
    void note_listener() noexcept;
    bool has_listened() const noexcept { return has_listened_.load(); }

    // A worker could not be started, or failed. Call it inside a catch block.
    void note_failure() noexcept;
    std::uint32_t failures_in_a_row() const noexcept { return failures_in_a_row_.load(); }

    // Throws what the first worker failed with if none has ever waited for a client.
    void rethrow_first_failure() const;

private:
    std::atomic<bool> stopping_{false};
    std::atomic<bool> has_listened_{false};
    std::atomic<std::uint32_t> failures_in_a_row_{0};
    mutable std::mutex mutex_;
    std::exception_ptr first_failure_;
};

// Starts one worker; it ends by itself once the state is stopping. Throws when the system has no thread to give.
void run_new_thread(pipe_manager_state& state);

// "S::RunPipes res=started", and with further keys what `more(TextStream&)` writes.
template <class More>
void write_host_record(const char* context, const char* result, const More& more) {
    log::Logger::instance().record([&](log::TextStream& out) {
        out.text(context).key(log::key::result).text(result);
        more(out);
    });
}

inline void write_host_record(const char* context, const char* result) {
    write_host_record(context, result, [](log::TextStream&) {});
}

}  // namespace qv::profiler::pdb_server
