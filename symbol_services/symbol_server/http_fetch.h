// Getting the content of one address: redirects, failures that pass, hosts that do not answer, lengths and encodings.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "symbol_services/symbol_server/content_decoder.h"
#include "symbol_services/symbol_server/host_memory.h"
#include "symbol_services/symbol_server/http_transport.h"

namespace qv::symbol_store {

// Time as HTTP stores see it. Tests bring their own.
struct http_clock {
    std::function<std::chrono::steady_clock::time_point()> now = &std::chrono::steady_clock::now;
    std::function<std::chrono::system_clock::time_point()> today = &std::chrono::system_clock::now;
    std::function<void(std::chrono::milliseconds)> pause;  // the calling thread sleeps
};

struct fetch_result {
    enum class kind {
        content,    // all of it has gone to the sink
        absent,     // the host says that it has nothing there
        refused,    // it answers, but with nothing that can be taken
        broken,     // the content came to an end in the middle
        no_answer,  // the host fails; it is remembered so
        not_asked,  // it failed a short time ago
        cancelled,
    };
    kind result;
    std::wstring reason;
};

// Any number of threads may call at a time.
class http_fetch {
public:
    // No symbol file is larger: what is would only fill the disk.
    static constexpr std::uint64_t largest_content = std::uint64_t{2} << 30;

    // `transport` outlives the object.
    http_fetch(http_transport& transport, http_clock clock) : transport_(transport), clock_(std::move(clock)) {}

    // A redirect is followed a few times. An answer that says "try again" is asked again once, after a second or what
    // it says within reason. The sink takes at most `largest` bytes, and may have taken some where it comes to nothing.
    fetch_result get(const url& address, const http_limits& limits, std::uint64_t largest,
                     const content_decoder::sink& sink);

    // How it went for the origin, if it failed a short time ago.
    std::optional<std::wstring> recent_failure(const url& address) const;

    const http_clock& clock() const noexcept { return clock_; }

private:
    struct answer;

    answer ask(const url& address, const http_limits& limits, std::uint64_t largest, const content_decoder::sink& sink);
    fetch_result fail(const url& address, std::wstring reason);
    bool wait(const std::string& retry_after, const http_limits& limits) const;

    http_transport& transport_;
    const http_clock clock_;
    failed_hosts failed_{failed_host_lifetime};
};

// Waits in small steps; false when the request was cancelled or its time is over meanwhile.
bool pause_within(const http_clock& clock, const http_limits& limits, std::chrono::milliseconds duration);

}  // namespace qv::symbol_store
