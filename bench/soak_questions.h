// What the clients of a soak run ask, and what they must hear.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/guid.h"
#include "core/stream/CoreStreams.h"
#include "tests/support/conversations/conversations.h"
#include "tests/support/files/test_files.h"

namespace qv::soak {

using testing::bytes;

// A question about a loaded module. Its payload is a request id, the module id and `arguments`, each id one byte; that
// of the answer is the request id and `answer`.
struct question {
    unsigned char code;
    bytes arguments;
    bytes answer;
};

// A file to be loaded. Its load command is the request id and `arguments`; the answer is the request id and `refusal`,
// or without one no error and the next module id.
struct sample_module {
    GUID mvid;
    bytes arguments;
    std::optional<bytes> refusal;
    std::vector<question> questions;
};

// The fixture modules, and such that are cut short, overwritten, without their PDB or not there; made in `folder`,
// which holds them as long as anybody asks. What is to be heard comes from a conversation of this process with itself.
std::vector<sample_module> make_modules(const testing::temporary_directory& folder);

// One conversation, from the handshake to the quit or to a sudden end, all at random. Returns the number of answers,
// and sets `welcome` when the first one has come. Throws for an answer that is not the expected one, and what the
// stream throws.
std::uint64_t converse(ICoreStream& stream, const std::vector<sample_module>& modules, std::uint32_t seed,
                       bool& welcome);

}  // namespace qv::soak
