#include "tests/support/pdb_writer/sample_module.h"

#include "tests/support/builders/metadata_builder.h"
#include "tests/support/builders/pe_builder.h"

namespace qv::testing {
namespace {

std::string text_of(const test::bytes& content) {
    return {content.begin(), content.end()};
}

}  // namespace

sample_module::sample_module(const test::pdb_description& description) : pdb(write_pdb(directory, description)) {
    const auto record = test::codeview_data(description.guid, description.age, "C:\\obj\\module.pdb");
    const auto built = test::pe_builder()
                           .metadata(test::image_metadata(mvid, method_rows).build())
                           .debug_entry(2, 0, 1, record)
                           .build();
    image = directory.write("module.dll", text_of(built.data));
}

boost::filesystem::path sample_module::write_pdb(const temporary_directory& directory,
                                                 const test::pdb_description& description) {
    return directory.write("module.pdb", text_of(test::write_pdb(description)));
}

}  // namespace qv::testing
