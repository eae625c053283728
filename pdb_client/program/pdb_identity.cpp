#include "pdb_client/program/pdb_identity.h"

#include <cstring>
#include <vector>

#include "base/exception.h"
#include "core/stream/FileNativeStream.h"
#include "pdb_client/program/display_text.h"
#include "qv/metadata/metadata.h"
#include "symbol_services/classic_reader/pdb.h"

namespace qv::profiler::pdb_client {
namespace {

std::vector<unsigned char> read_file(const boost::filesystem::path& path) {
    FileNativeStream file;
    file.Open(path);
    std::vector<unsigned char> bytes;
    read_block(file, file.GetSize(), bytes);
    return bytes;
}

pdb_identity read_portable(const boost::filesystem::path& file) {
    const std::vector<unsigned char> bytes = read_file(file);
    const metadata::detail_metadata::metadata_parser parser(bytes.size(), bytes.data());
    if (!parser.pdb()) throw_error("Not a portable PDB");
    const auto& id = parser.pdb()->id;
    pdb_identity identity{};
    static_assert(sizeof identity == std::tuple_size_v<std::decay_t<decltype(id)>>);
    std::memcpy(&identity, id.data(), sizeof identity);
    return identity;
}

pdb_identity read_classic(const boost::filesystem::path& file) {
    const classic_reader::pdb_id id = classic_reader::pdb::open(file)->id();
    return {id.guid, id.age};
}

}  // namespace

std::string identity_text(const pdb_identity& identity, symbol_kind kind) {
    return guid_text(identity.guid) + (kind == symbol_kind::portable ? " stamp " + token_text(identity.number).substr(2)
                                                                     : " age " + std::to_string(identity.number));
}

pdb_identity read_pdb_identity(const boost::filesystem::path& file, symbol_kind kind) {
    return kind == symbol_kind::portable ? read_portable(file) : read_classic(file);
}

}  // namespace qv::profiler::pdb_client
