// Asks the engine in this process.
#include "core/src/bridges/bridge_protocol.h"
#include "pdb_server/src/pdb_processor.h"
#include "tests/real_modules/open_symbol_source.h"

namespace qv::testing {
namespace {

class in_process_source : public symbol_source {
public:
    in_process_source() { engine_.init(profiler::policy_original_path | profiler::policy_reference_path, {}); }

    std::uint32_t load(const boost::filesystem::path& image, const GUID& mvid) override {
        return engine_.load_module(image, mvid);
    }

    std::vector<std::uint32_t> offsets(std::uint32_t module, std::uint32_t token) override {
        std::vector<std::uint32_t> result;
        engine_.get_method_offsets(module, token, result);
        return result;
    }

    std::vector<source_range> ranges(std::uint32_t module, std::uint32_t token) override {
        std::vector<std::uint32_t> documents, start_lines, start_columns, end_lines, end_columns;
        engine_.get_method_ranges(module, token, documents, start_lines, start_columns, end_lines, end_columns);
        std::vector<source_range> result;
        for (std::size_t i = 0; i < documents.size(); ++i)
            result.push_back(
                {documents[i], start_lines.at(i), start_columns.at(i), end_lines.at(i), end_columns.at(i)});
        return result;
    }

    document get_document(std::uint32_t module, std::uint32_t id) override {
        document result{};
        engine_.get_document(module, id, result.name, result.algorithm, result.hash);
        return result;
    }

    std::vector<std::uint8_t> source_server_data(std::uint32_t module) override {
        std::vector<std::uint8_t> result;
        engine_.get_source_server_data(module, result);
        return result;
    }

private:
    profiler::pdb_server::pdb_processor engine_;
};

}  // namespace

std::unique_ptr<symbol_source> open_symbol_source() {
    return std::make_unique<in_process_source>();
}

}  // namespace qv::testing
