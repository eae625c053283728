// The right to do one thing for a directory, among all threads, processes and machines that know it.
//
// The lock is a file that its owner holds open. It ends with the object, and with the process when that is killed.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>

namespace qv::symbol_store {

class file_lock {
public:
    enum class state {
        owned,
        taken,       // by somebody else
        impossible,  // the file cannot be made there
    };

    // Tries once, without waiting. Elsewhere than on Windows the file stays when the lock ends.
    explicit file_lock(const boost::filesystem::path& path);
    ~file_lock();
    file_lock(const file_lock&) = delete;
    file_lock& operator=(const file_lock&) = delete;

    state current() const noexcept { return state_; }

private:
    std::intptr_t handle_ = -1;
    state state_ = state::impossible;
};

}  // namespace qv::symbol_store
