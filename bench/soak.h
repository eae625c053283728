// A soak run, and the server that it is made on: how it is reached, and what it holds of the system's.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/soak_load.h"
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

// What somebody who runs the program can choose.
struct settings {
    std::chrono::seconds time{};
    std::wstring csv = L"soak.csv";
    std::wstring program;  // the server's path, where one is run; empty: that beside this program
    std::wstring log;      // file of the server's log, of all components; empty: none
    unsigned clients = 200;
    bool shared = false;  // the clients are threads that ask for the same loaded modules
};

// Each system has its own.
std::unique_ptr<server> start_server(const settings& chosen);

// `clients` threads ask one symbol engine of this process for the same modules, while another loads and unloads these.
std::unique_ptr<load> ask_for_shared_modules(unsigned clients);

// Takes the words of the command line after the program's name, and returns the program's exit code.
int soak(const std::vector<std::wstring>& words);

}  // namespace qv::soak
