// A server for tests: hands out prepared bytes and keeps what the client writes.
#pragma once

#include <cctype>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "core/src/stream/CoreStreams.h"

namespace qv::profiler::pdb_client {

// Bytes from hexadecimal digits; blanks are skipped, and text between quotes stands for itself.
inline std::vector<unsigned char> hex(std::string_view text) {
    std::vector<unsigned char> bytes;
    int high = -1;
    bool quoted = false;
    for (const char c : text) {
        if (c == '\'') {
            quoted = !quoted;
        } else if (quoted) {
            bytes.push_back(static_cast<unsigned char>(c));
        } else if (c != ' ' && c != '\n') {
            if (std::isxdigit(static_cast<unsigned char>(c)) == 0) throw std::invalid_argument("not hexadecimal");
            const int digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
            if (high >= 0) bytes.push_back(static_cast<unsigned char>(high << 4 | digit));
            high = high >= 0 ? -1 : digit;
        }
    }
    if (high >= 0 || quoted) throw std::invalid_argument("half a byte");
    return bytes;
}

class scripted_stream : public ICoreStream {
public:
    // What the server says next.
    void answer(std::string_view text) {
        const auto bytes = hex(text);
        to_read_.insert(to_read_.end(), bytes.begin(), bytes.end());
    }

    // What the client has written since the last call, one element for each Write.
    std::vector<std::vector<unsigned char>> take_writes() { return std::exchange(writes_, {}); }

    void Read(void* destination, std::uint64_t size) override {
        if (size > to_read_.size() - position_) throw std::runtime_error("The pipe is broken");
        if (size != 0) std::memcpy(destination, to_read_.data() + position_, static_cast<std::size_t>(size));
        position_ += static_cast<std::size_t>(size);
    }

    void Write(const void* data, std::uint64_t size) override {
        const auto* bytes = static_cast<const unsigned char*>(data);
        writes_.emplace_back(bytes, bytes + size);
    }

private:
    std::vector<unsigned char> to_read_;
    std::size_t position_ = 0;
    std::vector<std::vector<unsigned char>> writes_;
};

// The server's side of a handshake that succeeds.
constexpr std::string_view handshake_answers = "d1 00  e0 00";

}  // namespace qv::profiler::pdb_client
