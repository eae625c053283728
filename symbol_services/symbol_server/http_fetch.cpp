#include "symbol_services/symbol_server/http_fetch.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

namespace qv::symbol_store {
namespace {

using kind = fetch_result::kind;

constexpr int most_redirects = 5;
constexpr std::chrono::seconds usual_pause{1};
constexpr std::chrono::seconds longest_pause{5};

constexpr int status_ok = 200;

bool is_redirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// Answers of a host, or of a gateway before it, that is out of order or asks for a pause.
bool is_passing(int status) {
    return status == 429 || status == 502 || status == 503 || status == 504;
}

std::wstring answered(int status) {
    return L"answered " + std::to_wstring(status);
}

// Why the content of this answer is not taken; empty where it is.
std::wstring refusal_of(const http_response& head, std::uint64_t largest) {
    if (!content_decoder::knows(head.encoding)) return L"content in an unknown encoding";
    if (head.length && *head.length > largest) return L"too large, " + std::to_wstring(*head.length) + L" bytes";
    return {};
}

}  // namespace

struct http_fetch::answer {
    http_response head = {};
    http_outcome outcome = {};
    std::uint64_t received = 0;
    bool is_whole = true;
    std::wstring refusal;  // of the content, by us
};

bool pause_within(const http_clock& clock, const http_limits& limits, std::chrono::milliseconds duration) {
    constexpr std::chrono::milliseconds step{50};
    for (; duration.count() > 0; duration -= step) {
        if ((limits.cancelled && limits.cancelled()) || clock.now() >= limits.end) return false;
        clock.pause(std::min(step, duration));
    }
    return true;
}

http_fetch::answer http_fetch::ask(const url& address, const http_limits& limits, std::uint64_t largest,
                                   const content_decoder::sink& sink) {
    answer result;
    std::uint64_t taken = 0;
    std::optional<content_decoder> content;
    http_receiver receiver;
    receiver.begin = [&](const http_response& head) {
        result.head = head;
        if (head.status != status_ok) return false;
        result.refusal = refusal_of(head, largest);
        if (!result.refusal.empty()) return false;
        content.emplace(head.encoding, [&](const char* bytes, std::size_t size) {
            taken += size;
            if (taken > largest)
                result.refusal = L"too large";
            else if (!sink(bytes, size))
                result.refusal = L"cannot be written down";
            return result.refusal.empty();
        });
        return true;
    };
    receiver.take = [&](const char* bytes, std::size_t size) {
        result.received += size;
        const bool took = content->take(bytes, size);
        if (!took && result.refusal.empty()) result.refusal = L"malformed content";
        return took;
    };
    result.outcome = transport_.get(address, limits, receiver);
    result.is_whole = !content || content->is_whole();
    return result;
}

fetch_result http_fetch::fail(const url& address, std::wstring reason) {
    failed_.remember(address.origin(), reason, clock_.now());
    return {kind::no_answer, std::move(reason)};
}

std::optional<std::wstring> http_fetch::recent_failure(const url& address) const {
    return failed_.recall(address.origin(), clock_.now());
}

bool http_fetch::wait(const std::string& retry_after, const http_limits& limits) const {
    int seconds = 0;
    const auto* const end = retry_after.data() + retry_after.size();
    const auto [stop, error] = std::from_chars(retry_after.data(), end, seconds);
    const bool is_number = error == std::errc() && stop == end && seconds >= 0;
    const auto pause =
        is_number ? std::min<std::chrono::seconds>(std::chrono::seconds(seconds), longest_pause) : usual_pause;
    return pause_within(clock_, limits, pause);
}

fetch_result http_fetch::get(const url& address, const http_limits& limits, std::uint64_t largest,
                             const content_decoder::sink& sink) {
    url target = address;
    bool asked_again = false;
    for (int redirects = 0;;) {
        if (auto failure = recent_failure(target))
            return {kind::not_asked, L"not asked, for the host failed less than a minute ago: " + *failure};
        const auto got = ask(target, limits, largest, sink);
        switch (got.outcome.result) {
            case http_outcome::kind::cancelled: return {kind::cancelled, L"cancelled"};
            case http_outcome::kind::no_answer: return fail(target, got.outcome.reason);
            case http_outcome::kind::broken: return {kind::broken, got.outcome.reason};
            case http_outcome::kind::complete: break;
        }
        if (!got.refusal.empty()) return {kind::refused, got.refusal};
        const int status = got.head.status;
        if (status == status_ok) {
            const auto promised = got.head.length.value_or(got.received);
            if (got.received == promised && got.is_whole) return {kind::content, {}};
            return {kind::broken, L"the content ended after " + std::to_wstring(got.received) + L" bytes"};
        }
        if (status == 404 || status == 410) return {kind::absent, answered(status)};
        if (is_redirect(status)) {
            const auto next = redirected(target, got.head.location);
            if (!next)
                return {kind::refused, answered(status) + L", a redirect that is not followed: it leads to " +
                                           (target.secure ? L"no https address" : L"no address")};
            if (++redirects > most_redirects)
                return {kind::refused, answered(status) + L", a redirect that is not followed: there were five"};
            target = *next;
        } else if (!is_passing(status)) {
            return {kind::refused, answered(status)};
        } else if (std::exchange(asked_again, true)) {
            return fail(target, answered(status));
        } else if (!wait(got.head.retry_after, limits)) {
            return {kind::cancelled, L"cancelled"};
        }
    }
}

}  // namespace qv::symbol_store
