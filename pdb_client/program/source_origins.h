// Where a module's sources can be fetched from, as its source server data say.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "pdb_client/program/source_link.h"
#include "pdb_client/program/source_server_stream.h"

namespace qv::profiler::pdb_client {

class source_origins {
public:
    // From a Source Link document or a source server stream; anything else knows no origin.
    explicit source_origins(const std::vector<unsigned char>& data);

    // The URL of a document, or the command of its version control that gets it.
    std::optional<std::string> origin_of(std::wstring_view document) const;

private:
    std::variant<std::monostate, source_link, source_server_stream> data_;
};

}  // namespace qv::profiler::pdb_client
