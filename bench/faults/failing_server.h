// What tells failing_server, which is pdb_server but for one call of the system, which call fails. Windows only.
#pragma once

#include <windows.h>

#include <stdexcept>
#include <string>

#include "base/holders.h"

namespace qv::bench {

// The environment variable: the function's name, the number of the failing call (0: none fails) and the name of a
// failure_report, with spaces between.
constexpr const char* failing_call_variable = "FAULTS_FAILING_CALL";

// What the program tells, in memory that it shares with whoever started it.
struct failure_report {
    LONG failures;  // how many calls have failed so far
    LONG handles;   // how many are open at the end of the program, when everything of the server's has gone
};

class shared_failure_report {
public:
    // Made by whoever comes first; empty then.
    explicit shared_failure_report(const std::string& name)
        : mapping_(CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(failure_report),
                                      name.c_str())),
          view_(MapViewOfFile(mapping_.get(), FILE_MAP_ALL_ACCESS, 0, 0, sizeof(failure_report))) {
        if (view_ == nullptr) throw std::runtime_error("no memory to share");
    }
    ~shared_failure_report() { UnmapViewOfFile(view_); }
    shared_failure_report(const shared_failure_report&) = delete;
    shared_failure_report& operator=(const shared_failure_report&) = delete;

    failure_report& operator*() const noexcept { return *static_cast<failure_report*>(view_); }

private:
    const handle_hld mapping_;
    void* const view_;
};

}  // namespace qv::bench
