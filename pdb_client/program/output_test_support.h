// Output that is kept, for tests.
#pragma once

#include <string>

#include "pdb_client/program/output.h"

namespace qv::profiler::pdb_client {

struct kept_output final : output {
    std::string text;
    std::size_t limit = std::string::npos;  // the reader goes after as many writes
    bool verbatim = false;
    bool colours = false;

    void write(std::string_view piece) override {
        if (limit-- == 0) throw output_ended(true);
        text += piece;
    }
    void write_verbatim(std::string_view bytes) override {
        verbatim = true;
        write(bytes);
    }
    bool has_colours() const override { return colours; }
};

}  // namespace qv::profiler::pdb_client
