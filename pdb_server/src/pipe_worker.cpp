// The worker threads of the pipe manager.
#include <windows.h>
// after <windows.h>
#include <objbase.h>
#include <process.h>

#include <bit>
#include <cstdlib>
#include <optional>

#include "base/exception.h"
#include "common/security.h"
#include "core/stream/NamedPipeStream.h"
#include "core/stream/PacketStream.h"
#include "pdb_server/src/pipe_manager_state.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr const char* source = "pdb_server/src/pipe_manager";
constexpr const char* context = "S::WorkThread";

constexpr DWORD shortest_idle_ms = 2500;
constexpr int idle_spread_ms = 2500;
constexpr unsigned tolerated_connect_failures = 1;

// The thread's COM apartment, multithreaded.
class com_apartment {
public:
    explicit com_apartment(const throw_location& where) {
        const HRESULT result = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        if (FAILED(result)) throw_hresult_error("Can't initialize COM", result, where);
    }
    ~com_apartment() { CoUninitialize(); }
    com_apartment(const com_apartment&) = delete;
    com_apartment& operator=(const com_apartment&) = delete;
};

// Counts its worker as a listener while it lives.
class listening {
public:
    explicit listening(pipe_manager_state& state) : count_(state.listener_count), since_(GetTickCount()) {
        ++count_;
        state.note_listener();
    }
    ~listening() { --count_; }
    listening(const listening&) = delete;
    listening& operator=(const listening&) = delete;

    DWORD milliseconds() const noexcept { return GetTickCount() - since_; }

private:
    std::atomic<std::uint32_t>& count_;
    DWORD since_;
};

// The worker's instance of the pipe, open while this lives.
class open_instance {
public:
    // Only an instance that finds no other of the server's must be the first of its name: the further ones would fail.
    // Without one the name is anybody's again, at the start as after all have failed. A client that still holds on to
    // an instance that is closed here keeps the name, and the creation is tried again until it leaves.
    open_instance(pipe_manager_state& state, NamedPipeStream& pipe) : state_(state), pipe_(pipe) {
        security_attributes attributes;
        const std::lock_guard<std::mutex> lock(state_.instances_mutex);
        const bool must_be_first = state_.params.name == pipe_name_use::new_only && state_.open_instances == 0;
        pipe_.Create(state_.params.pipe_name, file_access::read_write, true, NamedPipeStream::unlimited_instances,
                     NamedPipeStream::buffer_size, NamedPipeStream::buffer_size, NamedPipeStream::default_time_out,
                     attributes.get(), state_.params.clients,
                     must_be_first ? pipe_instance::first : pipe_instance::any);
        ++state_.open_instances;
    }
    ~open_instance() {
        const std::lock_guard<std::mutex> lock(state_.instances_mutex);
        pipe_.Close();
        --state_.open_instances;
    }
    open_instance(const open_instance&) = delete;
    open_instance& operator=(const open_instance&) = delete;

private:
    pipe_manager_state& state_;
    NamedPipeStream& pipe_;
};

class worker {
public:
    explicit worker(pipe_manager_state& state) : state_(state), pipe_(state.stop_event.get()) {}

    void run() {
        std::srand(GetTickCount());
        instance_.emplace(state_, pipe_);
        write_host_record(context, "listen");
        listening_.emplace(state_);
        const DWORD idle_limit = shortest_idle_ms + static_cast<DWORD>(std::rand() % idle_spread_ms);
        while (!state_.stopping() && !is_surplus(idle_limit))
            if (connect()) serve_client();
    }

private:
    bool is_surplus(DWORD idle_limit) const {
        return state_.listener_count > wanted_listeners && listening_->milliseconds() >= idle_limit;
    }

    // A client that leaves while it is being connected fails the call, and the instance is made ready for the next one.
    // Failures without a break between them are not the clients' doing and end the worker.
    bool connect() {
        try {
            const bool connected = pipe_.Connect(0);
            connect_failures_ = 0;
            return connected;
        } catch (const exception&) {
            if (++connect_failures_ > tolerated_connect_failures) throw;
            log::write_warning();
        }
        disconnect();
        return false;
    }

    void serve_client() {
        write_host_record(context, "connected");
        listening_.reset();
        replace_listener();
        PacketStream stream(pipe_);
        converse(stream);
        flush(stream);
        disconnect();
        write_host_record(context, "disconnected");
        listening_.emplace(state_);
    }

    void replace_listener() noexcept {
        try {
            if (!state_.stopping() && state_.listener_count < wanted_listeners) run_new_thread(state_);
        } catch (...) {
            // The manager goes on trying.
            state_.note_failure();
            log::write_error();
        }
    }

    void converse(PacketStream& stream) noexcept {
        try {
            packet_reader reader(stream);
            packet_writer writer(stream);
            const auto wait = [&](int timeout) { return pipe_.WaitForDataToRead(static_cast<std::uint32_t>(timeout)); };
            state_.params.process_commands([this] { return state_.stopping(); }, wait, &reader, &writer);
        } catch (...) {
            log::write_error();
        }
    }

    // Fails where the client has left already, which is no error: there is nobody to be waited for.
    void flush(PacketStream& stream) noexcept {
        try {
            stream.Flush();
            pipe_.Flush();
        } catch (...) {
            log::write_warning();
        }
    }

    // An instance that cannot be disconnected serves nobody any more and makes room for a new one.
    void disconnect() {
        try {
            pipe_.Disconnect();
            return;
        } catch (...) {
            log::write_error();
        }
        instance_.emplace(state_, pipe_);
    }

    pipe_manager_state& state_;
    NamedPipeStream pipe_;
    std::optional<open_instance> instance_;
    std::optional<listening> listening_;
    unsigned connect_failures_ = 0;
};

unsigned __stdcall do_work_thread(void* argument) noexcept {
    static constexpr throw_site here{
        "unsigned int __cdecl qv::profiler::pdb_server::`anonymous-namespace'::do_work_thread(void *)", source};
    auto& state = *static_cast<pipe_manager_state*>(argument);
    log::write_state(context, log::state::started);
    try {
        const com_apartment com(here);
        worker(state).run();
    } catch (...) {
        state.note_failure();
        log::write_error();
    }
    const unsigned long remaining = --state.worker_count;
    write_host_record(context, log::word_of(log::state::exited),
                      [&](log::TextStream& out) { out.key(log::key::count).Dec(remaining); });
    --state.unfinished_count;
    return 0;
}

}  // namespace

void run_new_thread(pipe_manager_state& state) {
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::`anonymous-namespace'::run_new_thread(const struct "
        "qv::profiler::pdb_server::pipe_manager_params &)",
        source};
    ++state.unfinished_count;
    const handle_hld thread(std::bit_cast<HANDLE>(_beginthreadex(nullptr, 0, &do_work_thread, &state, 0, nullptr)));
    if (!thread) {
        --state.unfinished_count;
        throw_error("Can't create thread", here);
    }
    const unsigned long count = ++state.worker_count;
    write_host_record("S::RunNewThread", log::word_of(log::state::ok),
                      [&](log::TextStream& out) { out.key(log::key::count).Dec(count); });
}

}  // namespace qv::profiler::pdb_server
