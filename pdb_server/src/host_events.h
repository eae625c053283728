// The named events through which the host and the server talk: "I am ready" and "please stop". Windows only.
#pragma once

#include <atomic>
#include <string>

#include "base/holders.h"

namespace qv::profiler::pdb_server {

// Sets the event named `pipe` + "_ready"; where there is none of that name in the server's own session, the one named
// "Global\" + `pipe` + "_ready". Answers false when nobody has created either: then nobody waits. Throws
// win32_error_exception.
bool set_external_ready_signal(const std::wstring& pipe);

// The host's request to stop. Any thread may ask.
class external_stop_request {
public:
    // Opens the event, or creates it (manual-reset) where the host has not; no event for an empty name. Throws
    // win32_error_exception.
    explicit external_stop_request(const std::wstring& event_name);

    // True once the event has been found signalled, from then on whatever becomes of the event.
    bool requested() noexcept;

private:
    handle_hld event_;
    std::atomic<bool> requested_{false};
};

}  // namespace qv::profiler::pdb_server
