// How a thread hears what a symbol-server library does while it searches.
#pragma once

#include <functional>
#include <string>

namespace qv::profiler::pdb_server {

// While it lives, what libraries tell of the searches that this thread makes goes to `hear`, a line at a time: what
// they look at and what comes of it. Lines are as the library makes them, and may hold the secrets of addresses. What
// `hear` throws is lost, and the line with it.
class search_listener {
public:
    explicit search_listener(std::function<void(const std::wstring& line)> hear);
    ~search_listener();
    search_listener(const search_listener&) = delete;
    search_listener& operator=(const search_listener&) = delete;

    // For the calling thread; nobody hears it where it has no such object.
    static void tell(const std::wstring& line) noexcept;

private:
    const std::function<void(const std::wstring&)> hear_;
    const search_listener* const outer_;
};

}  // namespace qv::profiler::pdb_server
