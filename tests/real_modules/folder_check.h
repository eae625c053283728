// Holds all modules of a folder against their expected answers.
#pragma once

#include <boost/filesystem/path.hpp>
#include <memory>

#include "tests/real_modules/open_symbol_source.h"
#include "tests/support/expected/compare.h"
#include "tests/support/files/test_files.h"

namespace qv::testing {

enum class pdb_kinds { portable_or_none, classic };

// The folder that the environment names, else one given relative to the source root.
boost::filesystem::path folder_of(const char* variable, const char* below_source_root);

// Asks everything about all modules of these kinds over one connection. Differences are failures of the running test;
// what was compared is told and counted.
class folder_check {
public:
    folder_check(const boost::filesystem::path& folder, pdb_kinds kinds);

    std::size_t modules = 0;
    std::size_t without_symbols = 0;
    comparison total;

private:
    void check(const expected_module& module);
    comparison compare_module(const expected_module& module, std::uint32_t id);

    temporary_directory staging_;
    std::unique_ptr<symbol_source> source_ = open_symbol_source();
};

}  // namespace qv::testing
