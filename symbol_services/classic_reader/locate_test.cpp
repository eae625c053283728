#include "symbol_services/classic_reader/locate.h"

#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>

#include "symbol_services/classic_reader/failure_test_support.h"
#include "tests/support/builders/pe_builder.h"
#include "tests/support/files/test_files.h"
#include "tests/support/pdb_writer/pdb_writer.h"
#include "text/path.h"

namespace qv::classic_reader {
namespace {

namespace fs = boost::filesystem;

// A place for an image and PDB files of the sample's identity.
class Locate : public ::testing::Test {
protected:
    Locate() {
        search.image = directory.path() / "bin" / "module.dll";
        search.records = {{sample.guid, sample.age, text::to_wide(original)}};
        search.policy = policy_symbol_server | policy_original_path | policy_reference_path;
    }

    fs::path write(const fs::path& relative) const {
        const auto content = test::write_pdb(sample);
        return directory.write(relative, std::string(content.begin(), content.end()));
    }
    std::string failure() const {
        return failure_of([this] { locate_pdb(search); });
    }

    testing::temporary_directory directory;
    test::pdb_description sample = test::sample_pdb_description();
    fs::path original = directory.path() / "obj" / "module.pdb";
    pdb_search search;
};

TEST_F(Locate, PlacesAreTriedInOrderAndPolicyClosesThem) {
    search.search_path = text::to_wide(directory.path() / "a") + L";;" + text::to_wide(directory.path() / "b");
    for (const char* place : {"b/module.pdb", "a/module.pdb", "bin/module.pdb", "obj/module.pdb"}) {
        const auto written = write(place);
        EXPECT_EQ(locate_pdb(search).path, written);
    }
    search.search_path.clear();
    search.policy = policy_symbol_server;
    EXPECT_EQ(failure(), "PDB file not found, 806d0005");
    search.policy = policy_reference_path;
    EXPECT_EQ(locate_pdb(search).path, directory.path() / "bin" / "module.pdb");
    search.policy = policy_original_path;
    EXPECT_EQ(locate_pdb(search).path, original);
    // The image was renamed together with its PDB.
    search.policy = policy_reference_path;
    search.image = directory.path() / "bin" / "renamed.dll";
    fs::rename(directory.path() / "bin" / "module.pdb", directory.path() / "bin" / "renamed.pdb");
    EXPECT_EQ(locate_pdb(search).path, directory.path() / "bin" / "renamed.pdb");
}

TEST_F(Locate, FileOfAnotherBuildIsPassedOver) {
    const auto right = sample;
    sample.guid.Data1 ^= 1;
    write("obj/module.pdb");
    EXPECT_EQ(failure(), "PDB file of another build, 806d0006");
    sample = right;
    sample.age = 4;
    sample.info_age = 3;  // the image's age is compared with the other one
    write("obj/module.pdb");
    EXPECT_EQ(failure(), "PDB file of another age, 806d0007");
    sample = right;
    const auto beside = write("bin/module.pdb");
    EXPECT_EQ(locate_pdb(search).path, beside);
}

// Of some hundred records only the first few can be real.
TEST_F(Locate, SeveralRecordsAreTried) {
    const auto beside = write("bin/module.pdb");
    search.records.insert(search.records.begin(), 15, {{1, 2, 3, {}}, 1, L"module.ni.pdb"});
    EXPECT_EQ(locate_pdb(search).path, beside);
    search.records.insert(search.records.begin(), search.records.front());
    EXPECT_EQ(failure(), "PDB file of another build, 806d0006");
    search.records.clear();
    EXPECT_EQ(failure(), "Image has no debug record, 806d0014");
}

TEST_F(Locate, SymbolServerElementsGoToTheServer) {
    const auto stored = write("store/module.pdb");
    std::vector<std::wstring> asked;
    search.search_path = L"SRV*https://symbols.example;srv;symsrv*x.dll*y;SymSrv*symsrv.dll*z";
    search.server = [&](const std::wstring& parameters, const codeview_record&) -> std::optional<fs::path> {
        asked.push_back(parameters);
        return parameters == L"z" ? std::optional(stored) : std::nullopt;
    };
    EXPECT_EQ(locate_pdb(search).path, stored);
    EXPECT_EQ(asked, (std::vector<std::wstring>{L"https://symbols.example", L"z"}));
    search.policy = policy_original_path | policy_reference_path;
    EXPECT_EQ(failure(), "PDB file not found, 806d0005");
}

TEST_F(Locate, RecordedPathsAreNotTrusted) {
    for (const wchar_t* path : {L"", L"\\", L"C:\\obj\\", L"\\\\.\\pipe\\other", L"\\\\?\\C:\\x.pdb", L"\xD800.pdb"}) {
        search.records[0].path = path;
        EXPECT_EQ(failure(), "PDB file not found, 806d0005");
    }
    search.records[0].path = L"..\\..\\obj/../module.pdb";  // only its last part counts
    const auto beside = write("bin/module.pdb");
    EXPECT_EQ(locate_pdb(search).path, beside);
    search.records[0].path.insert(0, text::longest_path, L'a');  // not even that part, where no file has such a path
    EXPECT_EQ(failure(), "PDB file not found, 806d0005");
}

TEST(CodeView, OtherDataIsNone) {
    auto data = test::codeview_data({}, 7, "C:\\obj\\m\xC3\xA4.pdb");
    for (const auto size : {data.size(), data.size() - 1})  // also without its terminator
        EXPECT_EQ(parse_codeview(std::span(data).first(size)).value().path, L"C:\\obj\\m\u00E4.pdb");
    EXPECT_FALSE(parse_codeview(std::span(data).first(23)));
    data[0] = 'N';
    EXPECT_FALSE(parse_codeview(data));
    EXPECT_FALSE(parse_codeview(test::codeview_data({}, 1, "\xFF.pdb")));
}

}  // namespace
}  // namespace qv::classic_reader
