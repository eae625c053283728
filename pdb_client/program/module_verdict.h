// What is found when a module's symbols are read whole.
#pragma once

#include <boost/filesystem/path.hpp>
#include <functional>
#include <string>

#include "pdb_client/library/session.h"
#include "pdb_client/program/module_symbols.h"
#include "pdb_client/program/options.h"

namespace qv::profiler::pdb_client {

struct module_verdict {
    bool is_module = false;  // a managed image; nothing else is filled otherwise
    GUID mvid{};
    symbol_kind symbols = symbol_kind::none;  // what the image names
    bool loaded = false;
    std::string reason;  // why there are no symbols, or what could not be read of them
    std::size_t methods = 0;
    std::size_t methods_with_points = 0;
    std::size_t points = 0;
    std::size_t documents = 0;
    std::size_t sources = 0;           // of the documents, found on this machine
    std::size_t matching_sources = 0;  // those that the recorded checksum fits, but for line ends

    // Whether everything is there that the image promises.
    bool good() const noexcept { return symbols == symbol_kind::none || (loaded && reason.empty()); }
};

// Reads the file and asks the server; gives up early, with whatever is known, when `stop` answers true. Throws when the
// conversation fails.
module_verdict verify_module(session& server, const boost::filesystem::path& file, const options& wanted,
                             const std::function<bool()>& stop);

// "embedded", "portable", "classic" or "none"
const char* kind_name(symbol_kind kind);

}  // namespace qv::profiler::pdb_client
