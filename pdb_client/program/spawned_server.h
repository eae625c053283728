// A server of the program's own: started on a fresh pipe name and gone, one way or the other, with its owner.
// Windows only.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "base/holders.h"

namespace qv::profiler::pdb_client {

class spawned_server {
public:
    // Starts the program with a pipe identifier that nobody else uses, and further arguments. The process ends with
    // this object, and with this process however that ends. Throws win32_error_exception.
    spawned_server(const std::wstring& executable, const std::vector<std::wstring>& further_arguments);

    // Asks the server to stop, and ends it if it does not.
    ~spawned_server();
    spawned_server(const spawned_server&) = delete;
    spawned_server& operator=(const spawned_server&) = delete;

    const std::wstring& pipe_id() const noexcept { return pipe_id_; }

    // Returns when clients may connect. Throws qv::exception where that takes too long or the
    // server has ended.
    void wait_until_ready(std::chrono::milliseconds limit) const;

    // What the server has printed so far; each byte is handed out once.
    std::string take_output() const;

private:
    std::wstring pipe_id_;
    handle_hld ready_;
    handle_hld stop_;
    handle_hld output_;  // our end of the pipe that is its standard output and error
    handle_hld job_;     // closing it ends the process
    handle_hld process_;
};

}  // namespace qv::profiler::pdb_client
