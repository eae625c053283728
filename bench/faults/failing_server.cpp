// The server's own program with one call of the system that fails: this lives around its wmain. Windows only.
#include "bench/faults/failing_server.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <utility>

#include "bench/faults/program_calls.h"
#include "tests/support/server/handle_count.h"

namespace qv::bench {
namespace {

// The system still tears down threads that have ended. What the language's runtime keeps of them are semaphores, as
// many as there have ever been threads at once; the server has none.
LONG settled_handles() {
    const handle_hld semaphore(CreateSemaphoreW(nullptr, 0, 1, nullptr));
    const auto count = [&] { return test::count_handles(GetCurrentProcessId(), semaphore.get()); };
    std::size_t before = 0, now = count();
    while (before != now) {
        Sleep(50);
        before = std::exchange(now, count());
    }
    return static_cast<LONG>(now);
}

// Has the system's pool start the thread that waits for registered events, and one that calls back. So they are there
// at the end in any case.
class started_pool {
public:
    started_pool() {
        RegisterWaitForSingleObject(&wait_, event_.get(), &ignore, nullptr, INFINITE,
                                    WT_EXECUTEONLYONCE | WT_EXECUTELONGFUNCTION);
        QueueUserWorkItem(&do_nothing, nullptr, WT_EXECUTEDEFAULT);
    }
    ~started_pool() { UnregisterWaitEx(wait_, INVALID_HANDLE_VALUE); }
    started_pool(const started_pool&) = delete;
    started_pool& operator=(const started_pool&) = delete;

private:
    static void CALLBACK ignore(void*, BOOLEAN) {}
    static DWORD WINAPI do_nothing(void*) { return 0; }

    const handle_hld event_{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    HANDLE wait_ = nullptr;
};

class failing_life {
public:
    failing_life() {
        const char* const variable = std::getenv(failing_call_variable);
        std::istringstream words(variable == nullptr ? "" : variable);
        std::string function, report;
        int turn = 0;
        if (!(words >> function >> turn >> report)) return;
        report_.emplace(report);
        const auto calls = program_calls();
        replaced_ = std::find_if(calls.begin(), calls.end(), [&](const program_call& each) {
                        return each.name == function;
                    })->replace();
        failing_calls::count_in(&(**report_).failures);
        failing_calls::begin(turn);
    }
    ~failing_life() {
        if (!report_) return;
        failing_calls::end();
        replaced_.reset();
        (**report_).handles = settled_handles();
    }
    failing_life(const failing_life&) = delete;
    failing_life& operator=(const failing_life&) = delete;

private:
    const started_pool pool_;
    std::optional<shared_failure_report> report_;
    std::shared_ptr<void> replaced_;
};

const failing_life around_the_program;

}  // namespace
}  // namespace qv::bench
