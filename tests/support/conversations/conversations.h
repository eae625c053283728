// Conversations with the server, byte for byte, for tests over any transport.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "base/guid.h"

namespace qv::testing {

using bytes = std::vector<unsigned char>;

bytes operator+(bytes left, const bytes& right);

// A packet: code, packed length, payload.
bytes packet(unsigned char code, const bytes& payload = {});

// The whole packets that the bytes begin with: code and payload of each.
using code_and_payload = std::pair<unsigned char, bytes>;
std::vector<code_and_payload> packets_of(const bytes& data);

// Packed byte count and the bytes of an 8-bit text.
bytes text(const std::string& value);
bytes guid(const GUID& value);
bytes little_endian(std::initializer_list<std::uint32_t> values);

// The load command for an image, and the answer that a failing query gets.
bytes load_request(unsigned char id, const boost::filesystem::path& image, const GUID& mvid);
bytes error_answer(unsigned char code, unsigned char id, const std::string& message);

// MVID of an image, read from the image.
GUID mvid_of(const boost::filesystem::path& image);

// Version check and options, and what the server answers to them.
bytes handshake(unsigned char policy = 0, const std::vector<std::string>& search_paths = {});
bytes handshake_answer();

// What a client sends to a fresh connection, what the server answers before it ends the connection, and the message of
// the failure that ended it.
struct ending {
    std::string name;
    bytes sent;
    bytes answered;
    std::string message;
    std::string place = {};  // source and line of the failure, where log readers know them
};

// Every fault of handshake, framing, command code and payload.
std::vector<ending> endings();

struct exchange {
    bytes request;
    bytes answer;
};

// After the handshake of a fresh connection: every query that fails and is answered with its error text, and every
// command with the answers that the fixture modules give. Neither list ends the connection.
std::vector<exchange> failing_queries();
std::vector<exchange> every_command();

}  // namespace qv::testing
