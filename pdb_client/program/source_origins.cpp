#include "pdb_client/program/source_origins.h"

#include <exception>

#include "text/utf.h"

namespace qv::profiler::pdb_client {

source_origins::source_origins(const std::vector<unsigned char>& data) {
    const std::string_view text(reinterpret_cast<const char*>(data.data()), data.size());
    try {
        if (text.starts_with("SRCSRV"))
            data_.emplace<source_server_stream>(text);
        else
            data_.emplace<source_link>(text);
    } catch (const std::exception&) {
        data_.emplace<std::monostate>();
    }
}

std::optional<std::string> source_origins::origin_of(std::wstring_view document) const {
    try {
        const std::string name = text::to_utf8(document);
        if (const auto* link = std::get_if<source_link>(&data_)) return link->url_of(name);
        if (const auto* stream = std::get_if<source_server_stream>(&data_)) return stream->source_of(name);
    } catch (const std::exception&) {
        // A name without UTF-8 form, or variables without end: no origin is known.
    }
    return std::nullopt;
}

}  // namespace qv::profiler::pdb_client
