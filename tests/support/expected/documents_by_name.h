// Classic PDB files have no document numbers of their own: a server hands out ids as the methods name the documents.
// What is expected of such a module knows its documents by name.
#pragma once

#include <map>
#include <set>

#include "tests/support/expected/expected.h"

namespace qv::testing {

// The expected answers without the documents that no point names, which a client has no way to ask for.
expected_module without_unnamed_documents(const expected_module& module);

// Asks another source and answers with the expected document numbers in place of its ids. A document of a name that is
// not expected has the number 0. The columns of hidden points, which mean nothing, are 0 as they are expected, whatever
// the file records. For one module; ranges come before documents.
class documents_by_name : public symbol_source {
public:
    // Both outlive the object.
    documents_by_name(symbol_source& source, const expected_module& module);

    std::uint32_t load(const boost::filesystem::path& image, const GUID& mvid) override;
    std::vector<std::uint32_t> offsets(std::uint32_t module, std::uint32_t token) override;
    std::vector<source_range> ranges(std::uint32_t module, std::uint32_t token) override;
    // Throws std::out_of_range for a document that no range has named.
    document get_document(std::uint32_t module, std::uint32_t row) override;
    std::vector<std::uint8_t> source_server_data(std::uint32_t module) override;

private:
    std::uint32_t row_of(std::uint32_t module, std::uint32_t id);

    symbol_source& source_;
    std::map<std::wstring, std::uint32_t> rows_;
    std::map<std::uint32_t, std::uint32_t> row_of_id_, id_of_row_;
};

}  // namespace qv::testing
