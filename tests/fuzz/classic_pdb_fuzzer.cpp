// Opens the input as a classic PDB and asks everything about it.
#include <algorithm>

#include "symbol_services/classic_reader/pdb.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/support/costly_files/costly_files.h"
#include "tests/support/pdb_writer/pdb_writer.h"

namespace qv::fuzz {
namespace {

using classic_reader::pdb;

// No question costs more than the file is worth.
template <class Question>
void ask(std::size_t size, Question&& question) {
    require_cost_within(std::uint64_t{64} * size + 10'000, size, [&] { attempt(question); });
}

void ask_methods(const pdb& file, std::size_t size) {
    std::vector<std::uint32_t> methods;
    ask(size, [&] { methods = file.methods(); });
    require(std::is_sorted(methods.begin(), methods.end()), "tokens ascend");
    for (const auto token : methods) {
        require(file.has_method(token), "a listed method is there");
        ask(size, [&] {
            const auto points = file.points(token);
            for (std::size_t i = 0; i < points.size(); ++i) {
                require(points[i].document < file.document_count(), "points lie in documents of the file");
                require(i == 0 || points[i - 1].il_offset <= points[i].il_offset, "offsets ascend");
            }
        });
    }
    ask(size, [&] { file.points(0x06FFFFFF); });
}

outcome run(const unsigned char* data, std::size_t size) {
    std::shared_ptr<const pdb> file;
    ask(size, [&] { file = pdb::open(bytes(data, data + size)); });
    if (!file) return outcome::rejected;
    attempt([&] { ask_methods(*file, size); });
    for (std::uint32_t index = 0; index < file->document_count(); ++index) {
        ask(size, [&] { file->get_document(index); });
        ask(size, [&] { file->embedded_source(index); });
        ask(size, [&] { require(file->find_document(file->document_url(index)).has_value(), "documents are found"); });
        ask(size, [&] { require(file->find_document(L"X" + file->document_url(index)) != index, "others are not"); });
        ask(size, [&] { file->methods_at(index, 13); });
    }
    ask(size, [&] { file->closest_line(0, 1); });
    ask(size, [&] { file->source_server_data(); });
    return outcome::accepted;
}

// Signature and number of pages.
void mend(bytes& input) {
    using namespace std::string_view_literals;
    put(input, 0, "Microsoft C/C++ MSF 7.00\r\n\x1A"sv);
    put(input, 27, "DS\0\0\0"sv);
    if (input.size() < 44) return;
    const auto pages = static_cast<std::uint32_t>(input.size() / 512);
    put(input, 40, {reinterpret_cast<const char*>(&pages), sizeof pages});
}

std::vector<bytes> seeds() {
    auto odd = test::sample_pdb_description();
    odd.token_map = {0, 2, 1, 3, 4};
    odd.source_list = false;
    odd.files[0].record = false;
    odd.files[1].source = bytes(10, 'x');
    odd.named = {{"srcsrv", bytes(5, 'y')}, {"sourcelink", bytes(5, 'z')}};
    auto linked = odd;
    linked.named.clear();
    for (const std::string name : {"sourcelink", "sourcelink$1", "sourcelink$2"}) {
        const std::string link = "{\"documents\":{\"" + name + "\":\"b\"}}";
        linked.named.emplace_back(name, bytes(link.begin(), link.end()));
    }
    for (unsigned kind = 1; kind <= 3; ++kind) {
        linked.files[0].table_checksum_kind = kind;
        linked.files.push_back(linked.files[0]);
        linked.files.back().name += static_cast<char>('0' + kind);
    }
    std::vector<bytes> result = {test::write_pdb(test::sample_pdb_description()), test::write_pdb(odd),
                                 test::write_pdb(linked)};
    for (const auto& shape : test::classic_costly_shapes())
        if (auto pdb = shape.make(50).pdb; pdb.size() < 30'000) result.push_back(std::move(pdb));
    return result;
}

}  // namespace

const fuzz_target target = {
    run, seeds, {"/src/files/", "/names", "srcsrv", "sourcelink", "sourcelink$1", "/LinkInfo"}, mend};

}  // namespace qv::fuzz
