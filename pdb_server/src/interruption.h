// How a thread that waits for a symbol server learns that nobody wants the answer any more.
#pragma once

#include <functional>

namespace qv::profiler::pdb_server {

// While it lives, a search that this thread makes may be given up as soon as `wanted` answers true; what it throws
// counts as that. Libraries ask several times a second, on the thread that searches (symsrv_imports).
class interruption {
public:
    explicit interruption(std::function<bool()> wanted);
    ~interruption();
    interruption(const interruption&) = delete;
    interruption& operator=(const interruption&) = delete;

    // For the calling thread; false where it has no such object.
    static bool is_wanted() noexcept;

private:
    const std::function<bool()> wanted_;
    const interruption* const outer_;
};

}  // namespace qv::profiler::pdb_server
