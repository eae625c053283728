#include "core/stream/stop_grace.h"

#include <algorithm>

namespace qv {

bool stop_grace::stop_requested() const noexcept {
    return stop_event_ != nullptr && WaitForSingleObject(stop_event_, 0) == WAIT_OBJECT_0;
}

bool stop_grace::wait_before_stop(HANDLE event, DWORD timeout) const noexcept {
    const HANDLE handles[] = {event, stop_event_};
    return WaitForMultipleObjects(stop_event_ != nullptr ? 2 : 1, handles, FALSE, timeout) == WAIT_OBJECT_0;
}

stop_grace::transfer::~transfer() {
    if (stopped_) grace_.left_ = left();
}

bool stop_grace::transfer::wait(HANDLE event) noexcept {
    if (!stopped_) {
        if (grace_.wait_before_stop(event, INFINITE)) return true;
        note_stop();
    }
    if (WaitForSingleObject(event, std::min(left(), wait_milliseconds)) == WAIT_OBJECT_0) return true;
    grace_.left_ = 0;
    return false;
}

bool stop_grace::transfer::is_over() noexcept {
    if (!stopped_ && grace_.stop_requested()) note_stop();
    return stopped_ && left() == 0;
}

void stop_grace::transfer::note_stop() noexcept {
    stopped_ = true;
    stopped_at_ = GetTickCount();
}

DWORD stop_grace::transfer::left() const noexcept {
    const DWORD passed = GetTickCount() - stopped_at_;
    return passed < grace_.left_ ? grace_.left_ - passed : 0;
}

}  // namespace qv
