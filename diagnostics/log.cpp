#include "diagnostics/log.h"

#include <exception>
#include <memory>
#include <mutex>
#include <optional>

#include "base/thread.h"
#include "core/stream/FileNativeStream.h"
#include "diagnostics/environment.h"
#include "diagnostics/error_text.h"
#include "diagnostics/record_buffer.h"

namespace qv::log {
namespace {

void write_component(TextStream& out, component which, bool set, const char* name) {
    out.new_line().Dec(static_cast<int>(which), 2).text(set ? ": [X] " : ": [ ] ").text(name);
}

void write_identifier(const char* context, std::uint64_t id, const char* result) {
    Logger::instance().record([=](TextStream& out) {
        out.text(context).key("id").Dec(static_cast<unsigned long long>(id)).key(key::result).text(result);
    });
}

void write_exception(const char* level, const char* context) {
    auto& log = Logger::instance();
    if (!log.enabled()) return;
    // Asking the system for texts takes its time: not under the log's lock.
    std::optional<exception_description> description;
    try {
        description = describe_current_exception();
    } catch (...) {
        // Without a description the record's body fails, and the record says so.
    }
    log.record([&](TextStream& out) {
        out.text(level).text(description.value().text.c_str());
        if (context != nullptr) out.key(key::context).text(context);
        if (description->continuation) out.new_line().quoted(*description->continuation);
    });
}

}  // namespace

struct Logger::implementation {
    spin_lock lock;
    FileNativeStream file;
    record_buffer buffer{file};
    TextStream out{buffer};
    unsigned long long lost = 0;  // records that the file did not take since the last one that it took

    // Needs the lock. A record that the file does not take is lost, and so are those after it until the file takes the
    // one that says how many.
    template <class Body>
    void write(Body&& body) noexcept {
        const auto say_what_was_lost = [this](TextStream& line) {
            line.text("WARNING: Log records were lost").key(key::count).Dec(lost);
        };
        if (lost != 0 && write_one(say_what_was_lost)) lost = 0;
        if (lost != 0 || !write_one(body)) ++lost;
    }

    template <class Body>
    bool write_one(Body&& body) noexcept {
        try {
            out.Hex(static_cast<unsigned long>(quorvex::common::os::current_thread_id())).character(' ');
            body(out);
        } catch (...) {
            out.text("[Exception was thrown during logging]");
        }
        out.end_line();
        return buffer.end_record();
    }

    // A disk that does not take the records is no reason to stop.
    void flush() noexcept {
        try {
            file.Flush();
        } catch (...) {
        }
    }
};

Logger& Logger::instance() noexcept {
    // Never destroyed: threads that outlive the statics may still log.
    static Logger* const the_one = std::make_unique<Logger>().release();
    return *the_one;
}

Logger::Logger() : implementation_(std::make_unique<implementation>()) {}

Logger::~Logger() = default;

bool Logger::enabled(component which) const noexcept {
    switch (which) {
        case component::CoreBridge: return core_bridge_.load(std::memory_order_acquire);
        case component::PdbGt: return pdb_gt_.load(std::memory_order_acquire);
    }
    return false;
}

void Logger::open(const boost::filesystem::path& path) {
    auto& log = *implementation_;
    const std::lock_guard<spin_lock> lock(log.lock);
    if (enabled()) return;
    core_bridge_ = false;
    pdb_gt_ = false;
    log.file.Create(path);
    log.buffer.start();
    log.lost = 0;
    log.write([&](TextStream& out) {
        out.text("Initialized");
        out.new_line().key("LogFile").quoted(path.native());
        out.new_line().key("RealLogFile").quoted(log.file.FinalPath().native());
    });
    log.write([](TextStream& out) { write_environment_report(out); });
    log.flush();
    enabled_ = true;
}

void Logger::set_components(std::uint16_t mask) {
    const auto has = [mask](component which) { return (mask >> static_cast<int>(which) & 1) != 0; };
    auto& log = *implementation_;
    const std::lock_guard<spin_lock> lock(log.lock);
    if (!enabled()) return;
    if (has(component::CoreBridge)) core_bridge_ = true;
    if (has(component::PdbGt)) pdb_gt_ = true;
    log.write([&](TextStream& out) {
        constexpr unsigned short clear_mask = 0;  // components are only ever added
        out.text("UpdateComponentMask").key("maskSet").Hex(mask).key("maskClear").Hex(clear_mask);
        write_component(out, component::CoreBridge, core_bridge_, "CoreBridge");
        write_component(out, component::PdbGt, pdb_gt_, "PdbGt");
    });
}

void Logger::close() {
    auto& log = *implementation_;
    const std::lock_guard<spin_lock> lock(log.lock);
    if (!enabled()) return;
    enabled_ = false;
    log.write([](TextStream& out) { out.text("Finished"); });
    log.file.Close();
    core_bridge_ = false;
    pdb_gt_ = false;
}

void Logger::write_record(body_function function, void* body) {
    auto& log = *implementation_;
    const std::lock_guard<spin_lock> lock(log.lock);
    if (!enabled()) return;
    log.write([&](TextStream& out) { function(body, out); });
}

const char* word_of(state word) noexcept {
    switch (word) {
        case state::run: return "run";
        case state::started: return "started";
        case state::finished: return "finished";
        case state::exited: return "exited";
        case state::ok: return "ok";
    }
    return nullptr;
}

void write_state(const char* context, state word) {
    Logger::instance().record([=](TextStream& out) { out.text(context).key(key::result).text(word_of(word)); });
}

void write_received(const char* context, std::uint64_t id) {
    write_identifier(context, id, "received");
}

void write_executed(const char* context, std::uint64_t id) {
    write_identifier(context, id, "executed");
}

void write_event(const char* context, const char* event) {
    Logger::instance().record([=](TextStream& out) { out.text(context).key("event").text(event); });
}

void write_state(component gate, const char* context, state word) {
    if (Logger::instance().enabled(gate)) write_state(context, word);
}

void write_received(component gate, const char* context, std::uint64_t id) {
    if (Logger::instance().enabled(gate)) write_received(context, id);
}

void write_executed(component gate, const char* context, std::uint64_t id) {
    if (Logger::instance().enabled(gate)) write_executed(context, id);
}

void write_warning(const char* context) {
    write_exception("WARNING: ", context);
}

void write_error() {
    write_exception("ERROR: ", nullptr);
}

scope::scope(component gate, const char* context)
    : gate_(gate), context_(context), exceptions_(std::uncaught_exceptions()) {
    write_state(gate_, context_, state::started);
}

scope::~scope() {
    write_state(gate_, context_, std::uncaught_exceptions() > exceptions_ ? state::exited : state::finished);
}

}  // namespace qv::log
