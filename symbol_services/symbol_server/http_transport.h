// One HTTP request, without any decision about what it is for.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "symbol_services/symbol_server/url.h"

namespace qv::symbol_store {

// The head of an answer.
struct http_response {
    int status;
    std::optional<std::uint64_t> length;  // of the body, as promised
    std::string encoding;                 // Content-Encoding
    std::string location;
    std::string retry_after;
};

// What is done with an answer while it comes. A false answer ends the request, and so does whatever is thrown.
struct http_receiver {
    std::function<bool(const http_response& head)> begin;
    std::function<bool(const char* bytes, std::size_t size)> take;
};

// A single request is bounded by the transport: 5 s for a connection, then 10 s for the first byte of the answer.
struct http_limits {
    std::chrono::steady_clock::time_point end;  // of everything
    std::function<bool()> cancelled;            // asked several times a second on the calling thread; may be empty
};

struct http_outcome {
    enum class kind {
        complete,  // the body has come to its end, or the receiver wanted no more of it
        no_answer,
        broken,  // in the middle of the body
        cancelled,
    };
    kind result;
    std::wstring reason;  // of a failure, for people
};

class http_transport {
public:
    http_transport() = default;
    http_transport(const http_transport&) = delete;
    http_transport& operator=(const http_transport&) = delete;
    virtual ~http_transport() = default;

    // Asks for `target`. Nothing is sent that `target` does not say, redirects are not followed, nobody is asked
    // anything. Any number of threads may call at a time.
    virtual http_outcome get(const url& target, const http_limits& limits, const http_receiver& receiver) = 0;
};

}  // namespace qv::symbol_store
