// The answers that a correct reader gives about a module, kept as JSON beside it, and the comparison with others.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "base/guid.h"
#include "tests/support/files/test_files.h"

namespace qv::testing {

// What somebody says about a module, each fact under its name. Documents are known by name: classic PDB files have no
// numbers for them, and neither do hidden points have columns that mean anything.
struct answers {
    void add_point(std::uint32_t token, std::uint32_t offset, const std::wstring& document, std::uint32_t start_line,
                   std::uint32_t start_column, std::uint32_t end_line, std::uint32_t end_column);

    // `row` is 0 for a document of a classic PDB.
    void add_document(std::uint32_t row, const std::wstring& name, const GUID& algorithm,
                      const std::vector<std::uint8_t>& hash);

    void set_source_data(const std::vector<std::uint8_t>& data) {
        facts["source data"].assign(data.begin(), data.end());
    }

    std::map<std::string, std::string> methods;  // the points, by token
    std::map<std::string, std::string> facts;    // documents and source-server data
    std::size_t points = 0;
};

// Each difference is a failure of the running test.
void expect_same(const answers& expected, const answers& answered);

struct expected_module {
    boost::filesystem::path image;
    GUID mvid;
    std::uint32_t method_rows;
    std::uint32_t document_rows;
    bool classic;
    bool match;
    answers content;  // of a classic PDB without the documents that no point names: nobody can ask for them
};

// Every module of the folder and of those below it, in a fixed order.
std::vector<expected_module> load_expected(const boost::filesystem::path& folder);

// The modules that others built, kept outside the project; none where there are none.
std::vector<expected_module> collected_modules();

// Copies the image into a folder of the directory and its PDB file, if it has one, beside it under each name that the
// image records. Returns the path of the image's copy.
boost::filesystem::path stage(const expected_module& module, const temporary_directory& directory);

}  // namespace qv::testing
