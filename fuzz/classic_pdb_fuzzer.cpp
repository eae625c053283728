// Opens the input as a classic PDB and asks everything about it.
#include <algorithm>

#include "fuzz/fuzz_target.h"
#include "symbol_services/classic_reader/pdb.h"
#include "tests/support/pdb_writer/pdb_writer.h"

namespace qv::fuzz {
namespace {

using classic_reader::pdb;

void ask_methods(const pdb& file) {
    const auto methods = file.methods();
    require(std::is_sorted(methods.begin(), methods.end()), "tokens ascend");
    for (const auto token : methods) {
        require(file.has_method(token), "a listed method is there");
        attempt([&] {
            const auto points = file.points(token);
            for (std::size_t i = 0; i < points.size(); ++i) {
                require(points[i].document < file.document_count(), "points lie in documents of the file");
                require(i == 0 || points[i - 1].il_offset <= points[i].il_offset, "offsets ascend");
            }
        });
    }
    file.points(0x06FFFFFF);
}

outcome run(const unsigned char* data, std::size_t size) {
    return attempt([&] {
        const auto file = pdb::open(bytes(data, data + size));
        attempt([&] { ask_methods(*file); });
        for (std::uint32_t index = 0; index < file->document_count(); ++index) {
            attempt([&] { file->get_document(index); });
            attempt([&] { file->embedded_source(index); });
            attempt(
                [&] { require(file->find_document(file->document_url(index)).has_value(), "documents are found"); });
        }
        attempt([&] { file->closest_line(0, 1); });
        attempt([&] { file->source_server_data(); });
        attempt([&] { file->source_links(); });
    });
}

std::vector<bytes> seeds() {
    auto odd = test::sample_pdb_description();
    odd.token_map = {0, 2, 1, 3, 4};
    odd.source_list = false;
    odd.files[0].record = false;
    odd.files[1].source = bytes(10, 'x');
    odd.named = {{"srcsrv", bytes(5, 'y')}, {"sourcelink", bytes(5, 'z')}};
    return {test::write_pdb(test::sample_pdb_description()), test::write_pdb(odd)};
}

}  // namespace
}  // namespace qv::fuzz

QV_FUZZ_TARGET("classic_pdb", qv::fuzz::run, qv::fuzz::seeds)
