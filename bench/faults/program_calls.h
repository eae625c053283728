// The calls of the system that the server's program makes and that can fail. Windows only.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "bench/faults/failing_call.h"

namespace qv::bench {

// What has to happen for the call to be made.
enum class life {
    usual,      // a start with a log, a conversation, a stop by the host
    searching,  // the same, and a client who has something searched for
    unread,     // the same, and at the stop somebody has not read his answers
};

struct program_call {
    std::string name;
    // While the answer lives, the calls fail that failing_calls names.
    std::function<std::shared_ptr<void>()> replace;
    // What the failure may be called, by the client's answer, the log, or the program as it ends. With the code, where
    // it has one. Besides, it may look like a lost client.
    std::set<std::string> texts;
    int turns;                // beyond these the calls are the same again; 0: it is never made
    std::string in_log = {};  // what the log then says
    life when = life::usual;
};

std::vector<program_call> program_calls();

}  // namespace qv::bench
