// Constants of the bridge protocol, shared by the server and its clients.
#pragma once

#include <cstdint>

#include "base/guid.h"
#include "common/symbol_search.h"

namespace qv::profiler {

// Packet codes of the serving state: a command and its answer carry the same one.
enum class pdb_bridge_answer : std::uint8_t {
    load_module = 0x30,
    unload_module = 0x31,
    get_method_offsets = 0x42,
    get_method_ranges = 0x43,
    get_source_server_data = 0x44,
    get_document = 0x45,
    quit = 0xFF,
};

// Packet codes of the handshake.
constexpr std::uint8_t packet_version = 0xD0;           // the client's version; the answer that rejects it
constexpr std::uint8_t packet_version_accepted = 0xD1;  // the answer that accepts it
constexpr std::uint8_t packet_options = 0xE0;           // the client's options and their acknowledgement

// Both sides must name the same version; there is no negotiation.
constexpr GUID protocol_version = {0x7d3be11c, 0x9bd2, 0x4ca7, {0xa6, 0x26, 0x1c, 0x82, 0xb9, 0x39, 0x35, 0xa9}};

// The start and end line of a sequence point that belongs to no source line.
constexpr std::uint32_t hidden_line = 0xFEEFEE;

// A method travels as its MethodDef row minus one.
constexpr std::uint32_t method_table = 0x06000000;

constexpr std::uint32_t token_from_wire(std::uint32_t value) noexcept {
    return (value + 1) | method_table;
}

constexpr std::uint32_t token_to_wire(std::uint32_t token) noexcept {
    return (token & 0xFFFFFF) - 1;
}

}  // namespace qv::profiler
