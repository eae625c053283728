// Asks a server of its own over the real pipe, through the client library. Windows only.
#include <stdexcept>

#include "pdb_client/library/pipe_connection.h"
#include "pdb_client/library/session.h"
#include "qv/text/path.h"
#include "tests/real_modules/open_symbol_source.h"
#include "tests/support/server/server_process.h"

namespace qv::testing {
namespace {

namespace client = profiler::pdb_client;

constexpr client::time_limits patience{std::chrono::minutes(1), std::chrono::minutes(1)};

template <class Value>
Value value_of(client::answer<Value> answer) {
    if (!answer.ok()) throw std::runtime_error(answer.error());
    return std::move(answer).value();
}

class pipe_source : public symbol_source {
public:
    std::uint32_t load(const boost::filesystem::path& image, const GUID& mvid) override {
        return value_of(session_.load_module(text::to_wide(image), mvid));
    }

    std::vector<std::uint32_t> offsets(std::uint32_t module, std::uint32_t token) override {
        return value_of(session_.get_method_offsets(module, token));
    }

    std::vector<source_range> ranges(std::uint32_t module, std::uint32_t token) override {
        std::vector<source_range> result;
        for (const auto& range : value_of(session_.get_method_ranges(module, token)))
            result.push_back(
                {range.document_id, range.start_line, range.start_column, range.end_line, range.end_column});
        return result;
    }

    document get_document(std::uint32_t module, std::uint32_t id) override {
        auto answered = value_of(session_.get_document(module, id));
        return {std::move(answered.url), answered.checksum_algorithm, std::move(answered.checksum)};
    }

    std::vector<std::uint8_t> source_server_data(std::uint32_t module) override {
        return value_of(session_.get_source_server_data(module));
    }

private:
    server_process server_;
    client::pipe_connection pipe_{server_.pipe_id(), patience};
    client::session session_{
        pipe_, {.policy = profiler::policy_original_path | profiler::policy_reference_path, .search_paths = {}}};
};

}  // namespace

std::unique_ptr<symbol_source> open_symbol_source() {
    return std::make_unique<pipe_source>();
}

}  // namespace qv::testing
