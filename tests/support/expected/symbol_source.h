// Whatever answers symbol queries, as the comparison sees it: the engine in this process, or a server behind a pipe.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "quorvex/common/guid.h"

namespace qv::testing {

// The source of one sequence point.
struct source_range {
    std::uint32_t document;
    std::uint32_t start_line;
    std::uint32_t start_column;
    std::uint32_t end_line;
    std::uint32_t end_column;

    friend bool operator==(const source_range&, const source_range&) = default;
};

struct document {
    std::wstring name;
    GUID algorithm;  // of no meaning without a hash
    std::vector<std::uint8_t> hash;
};

// A query that fails throws; what() is the reason.
class symbol_source {
public:
    virtual ~symbol_source() = default;

    // The id of the loaded module; 0 when it has no symbols. `image` is absolute.
    virtual std::uint32_t load(const boost::filesystem::path& image, const GUID& mvid) = 0;

    virtual std::vector<std::uint32_t> offsets(std::uint32_t module, std::uint32_t token) = 0;
    virtual std::vector<source_range> ranges(std::uint32_t module, std::uint32_t token) = 0;
    virtual document get_document(std::uint32_t module, std::uint32_t id) = 0;
    virtual std::vector<std::uint8_t> source_server_data(std::uint32_t module) = 0;
};

}  // namespace qv::testing
