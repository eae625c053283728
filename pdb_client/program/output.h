// Where the program's answers go, piece by piece as they are made.
#pragma once

#include <stdexcept>
#include <string_view>

namespace qv::profiler::pdb_client {

// Nothing more can be written.
class output_ended : public std::runtime_error {
public:
    explicit output_ended(bool by_its_reader)
        : std::runtime_error("The output cannot be written."), by_its_reader_(by_its_reader) {}

    // The reader has what it wanted and went, as `head` does: no failure.
    bool by_its_reader() const noexcept { return by_its_reader_; }

private:
    bool by_its_reader_;
};

class output {
public:
    output() = default;
    output(const output&) = delete;
    output& operator=(const output&) = delete;
    virtual ~output() = default;

    // UTF-8; it has left the program when this returns. Throws output_ended.
    virtual void write(std::string_view text) = 0;

    // Bytes of the module, whatever they are. Throws output_ended.
    virtual void write_verbatim(std::string_view bytes) { write(bytes); }

    // Whether the escape sequences for colours mean colours.
    virtual bool has_colours() const { return false; }
};

}  // namespace qv::profiler::pdb_client
