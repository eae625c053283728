// The process-wide log file.
//
// Every record is one line (plus indented continuation lines) that begins with the writing thread's identifier. While
// the log is closed every call costs one test and formats nothing. All functions may be called from any thread, and
// none of the writers ever fails towards its caller.
#pragma once

#include <atomic>
#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <memory>
#include <utility>

#include "diagnostics/TextStream.h"

namespace qv::log {

using profiler::stream::TextStream;

// Families of records that are written only when asked for. The value is the bit number in the log mask.
enum class component : int {
    CoreBridge = 0,  // command loop
    PdbGt = 4,       // module registry and symbol backends
};

// The words that a state record may carry.
enum class state { run, started, finished, exited, ok };
const char* word_of(state word) noexcept;

class Logger {
public:
    // The one instance of the process.
    static Logger& instance() noexcept;

    Logger();
    ~Logger();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    // Creates the file and writes the opening records; a second call does nothing. Throws when the file cannot be
    // created ("Can't create file"). A record that the file does not take, as on a full disk, is lost whole; when the
    // file takes records again, one of them says how many were lost.
    void open(const boost::filesystem::path& path);

    // Switches on the components whose bits are set and records the mask.
    void set_components(std::uint16_t mask);

    // Writes "Finished" and closes the file; a second call does nothing.
    void close();

    bool enabled() const noexcept { return enabled_.load(std::memory_order_acquire); }
    bool enabled(component which) const noexcept;

    // Writes one record: the thread prefix, then what `body(TextStream&)` writes, then the line end. A body that throws
    // leaves a marked record behind and nothing else. The body runs under the log's lock and must not log itself.
    template <class Body>
    void record(Body&& body) {
        if (!enabled()) return;
        write_record(&call<Body>, const_cast<void*>(static_cast<const void*>(std::addressof(body))));
    }

    // The same, only while the component is switched on.
    template <class Body>
    void record(component gate, Body&& body) {
        if (enabled(gate)) record(std::forward<Body>(body));
    }

private:
    struct implementation;
    using body_function = void (*)(void* body, TextStream& out);

    template <class Body>
    static void call(void* body, TextStream& out) {
        (*static_cast<std::remove_reference_t<Body>*>(body))(out);
    }

    void write_record(body_function function, void* body);

    std::atomic<bool> enabled_{false};
    std::atomic<bool> core_bridge_{false};
    std::atomic<bool> pdb_gt_{false};
    std::unique_ptr<implementation> implementation_;
};

// The fixed records. `context` names the operation, such as "CP::CmdLoadModule".
void write_state(const char* context, state word);
void write_received(const char* context, std::uint64_t id);
void write_executed(const char* context, std::uint64_t id);
void write_event(const char* context, const char* event);

// The same, only while the component is switched on.
void write_state(component gate, const char* context, state word);
void write_received(component gate, const char* context, std::uint64_t id);
void write_executed(component gate, const char* context, std::uint64_t id);

// Describe the exception being handled; call them inside a catch block only. `context` names the operation where no
// record of its scope need be in the log.
void write_warning(const char* context = nullptr);
void write_error();

// Brackets an operation with state records: "started" now, "finished" at the end of the scope, or "exited" when an
// exception leaves it. Gated by its component.
class scope {
public:
    scope(component gate, const char* context);
    ~scope();
    scope(const scope&) = delete;
    scope& operator=(const scope&) = delete;

private:
    component gate_;
    const char* context_;
    int exceptions_;
};

// The keys and results that several kinds of log records share. Readers of the log know them by these names.
namespace key {

constexpr const char* result = "res";
constexpr const char* count = "c";
constexpr const char* context = "context";
constexpr const char* name = "name";
constexpr const char* mvid = "mvid";
constexpr const char* module_id = "pdbmid";
constexpr const char* document_id = "pdbdid";
constexpr const char* token = "token";
constexpr const char* path = "path";

}  // namespace key

}  // namespace qv::log
