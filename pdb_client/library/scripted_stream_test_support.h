// A server for tests: hands out prepared bytes and keeps what the client writes.
#pragma once

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/stream/CoreStreams.h"

namespace qv::profiler::pdb_client {

// Bytes from pairs of hexadecimal digits; blanks are skipped, and text between quotes stands for itself.
inline std::vector<unsigned char> hex(std::string_view text) {
    std::vector<unsigned char> bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\'')
            for (++i; text.at(i) != '\''; ++i) bytes.push_back(static_cast<unsigned char>(text[i]));
        else if (text[i] != ' ')
            bytes.push_back(static_cast<unsigned char>(std::stoi(std::string(text.substr(i++, 2)), nullptr, 16)));
    }
    return bytes;
}

class scripted_stream : public ICoreStream {
public:
    explicit scripted_stream(std::string_view first_answers) { answer(first_answers); }

    // What the server says next.
    void answer(std::string_view text) {
        const auto bytes = hex(text);
        to_read_.insert(to_read_.end(), bytes.begin(), bytes.end());
    }

    // What the client has written since the last call, one element for each Write.
    std::vector<std::vector<unsigned char>> take_writes() { return std::exchange(writes_, {}); }

    void Read(void* destination, std::uint64_t size) override {
        if (size > to_read_.size()) throw std::runtime_error("The pipe is broken");
        const auto end = to_read_.begin() + static_cast<std::ptrdiff_t>(size);
        std::copy(to_read_.begin(), end, static_cast<unsigned char*>(destination));
        to_read_.erase(to_read_.begin(), end);
    }

    void Write(const void* data, std::uint64_t size) override {
        const auto* bytes = static_cast<const unsigned char*>(data);
        writes_.emplace_back(bytes, bytes + size);
    }

private:
    std::vector<unsigned char> to_read_;
    std::vector<std::vector<unsigned char>> writes_;
};

// The server's side of a handshake that succeeds.
inline const std::string handshake_answers = "d1 00  e0 00";

}  // namespace qv::profiler::pdb_client
