// What a stream still grants its peer once the server stops: enough to take a finished answer, too little to hold up
// the end. Windows only.
#pragma once

#include "base/holders.h"

namespace qv {

// One for each connection; used by one thread at a time. Before the stop there is no limit at all.
class stop_grace {
public:
    static constexpr DWORD wait_milliseconds = 2000;   // for one transfer that does not move
    static constexpr DWORD total_milliseconds = 2500;  // for all transfers of the connection together

    // `stop_event`: a manual-reset event that outlives this object, or null for a peer that is never hurried.
    explicit stop_grace(HANDLE stop_event) noexcept : stop_event_(stop_event) {}

    HANDLE stop_event() const noexcept { return stop_event_; }
    bool stop_requested() const noexcept;

    // Waits until `event` is signalled, at most `timeout` milliseconds and not beyond the stop; answers whether it is.
    bool wait_before_stop(HANDLE event, DWORD timeout) const noexcept;

    // What a wait that begins, or goes on, after the stop may take.
    DWORD next_wait() const noexcept { return left_ < wait_milliseconds ? left_ : wait_milliseconds; }

    // The next peer has all its time before it.
    void renew() noexcept { left_ = total_milliseconds; }

    // A transfer to or from the peer. It takes from the connection's time what passes between the stop and its end:
    // a query that takes long itself costs the client nothing.
    class transfer {
    public:
        explicit transfer(stop_grace& grace) noexcept : grace_(grace) {}
        ~transfer();
        transfer(const transfer&) = delete;
        transfer& operator=(const transfer&) = delete;

        // Waits until `event` is signalled; false when the peer's time is over first, and it is over for good then.
        bool wait(HANDLE event) noexcept;

        // True when the peer's time is over, also for one that is never short of data.
        bool is_over() noexcept;

    private:
        void note_stop() noexcept;
        DWORD left() const noexcept;

        stop_grace& grace_;
        bool stopped_ = false;
        DWORD stopped_at_ = 0;
    };

private:
    HANDLE stop_event_;
    DWORD left_ = total_milliseconds;
};

}  // namespace qv
