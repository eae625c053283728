// A soak run, and the server that it is made on: how it is reached, and what it holds of the system's.
#pragma once

#include <boost/filesystem/path.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "core/stream/CoreStreams.h"

namespace qv::soak {

struct holdings {
    std::uint64_t memory;  // bytes
    std::uint64_t handles;
    std::uint64_t threads;
};

class server {
public:
    virtual ~server() = default;
    virtual std::unique_ptr<ICoreStream> connect() = 0;
    virtual holdings now() const = 0;
};

// Each system has its own. `program`: the server's path, where one is run; empty for that beside this program.
std::unique_ptr<server> start_server(const std::wstring& program);

// The program's exit code.
int soak(std::chrono::seconds time, const boost::filesystem::path& csv, const std::wstring& program);

}  // namespace qv::soak
