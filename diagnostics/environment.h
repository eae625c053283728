// The second record of every log: what runs where, for people who read a log from somebody else's machine.
//
// The figures are as the operating system gives them; where it has none, they stay 0 or empty.
#pragma once

#include <cstdint>
#include <string>

#include "diagnostics/TextStream.h"

namespace qv::log {

struct build_facts {
    const char* version = "";
    const char* time = "";
    std::string compiler;
    std::string boost;
};

struct security_facts {
    std::string integrity = "Unknown";  // integrity level of the process: Untrusted, Low, Medium, High, System ...
    bool is_signed = false;             // the executable carries a signature
};

struct system_facts {
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t build = 0;
    std::uint32_t platform_id = 0;
    std::wstring service_pack;
    std::uint16_t service_pack_major = 0;
    std::uint16_t service_pack_minor = 0;
    std::uint16_t suite_mask = 0;
    std::uint8_t product_type = 0;
    std::uint32_t vista_product_type = 0;
};

struct processor_facts {
    const char* architecture = "";  // the one that the program was built for
    std::uint16_t process = 0;      // the one that the process sees
    std::uint16_t native = 0;       // the machine's own
    std::uint32_t page_size = 0;
    unsigned long long minimum_address = 0;
    unsigned long long maximum_address = 0;
    unsigned long long active_mask = 0;
    std::uint32_t count = 0;
    std::uint32_t allocation_granularity = 0;
    std::uint16_t level = 0;
    std::uint16_t revision = 0;
};

struct session_facts {
    std::int64_t seconds_since_1970 = 0;
    int minutes_east_of_utc = 0;
    std::wstring computer;
    std::wstring user;
};

struct process_facts {
    std::uint32_t id = 0;
    std::wstring executable;
    std::wstring command_line;
};

struct environment {
    build_facts build;
    security_facts security;
    system_facts system;
    processor_facts processor;
    session_facts session;
    process_facts process;
};

// Asks the operating system for everything but the build. Never throws but for lack of memory: a question that the
// system does not answer leaves its value empty.
environment query_environment();

// Writes the body of the record: one line for each of build, system, processor, session and process.
void write_environment(profiler::stream::TextStream& out, const environment& values);

// The same of this process.
void write_environment_report(profiler::stream::TextStream& out);

}  // namespace qv::log
