// The standard handles. Windows only.
#pragma once

#include <cstddef>
#include <string_view>

#include "pdb_client/program/output.h"

namespace qv::profiler::pdb_client {

// A console gets text as characters, whatever its code page, and a printable form of what is no text; a file or pipe
// gets the bytes as they are.
class standard_output final : public output {
public:
    standard_output();

    void write(std::string_view text) override;
    void write_verbatim(std::string_view bytes) override;
    bool has_colours() const override { return colours_; }

private:
    void* handle_;  // not owned
    bool colours_;
};

// Answers whether the text reached the end of standard error.
bool write_messages(std::string_view utf8);

// The columns of the terminal that standard error is; 0 when it is none.
std::size_t terminal_width_of_messages();

}  // namespace qv::profiler::pdb_client
