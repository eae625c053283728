// The server's search, told step by step.
#include "pdb_client/program/explanation.h"

#include <gmock/gmock.h>

#include "common/symbol_search.h"
#include "pdb_client/program/display_text.h"
#include "pdb_client/program/module_file.h"
#include "pdb_client/program/output_test_support.h"
#include "tests/support/files/test_files.h"
#include "tests/support/pdb_writer/sample_module.h"
#include "text/path.h"

namespace qv::profiler::pdb_client {
namespace {

using qv::testing::fixture;
using ::testing::EndsWith;
using ::testing::HasSubstr;

struct explained {
    exit_code code;
    std::string text;
};

// Without environment variables; a symbol server gives `served`.
explained explain_module(const boost::filesystem::path& image, std::uint8_t policy,
                         const std::vector<std::wstring>& search_paths, const boost::filesystem::path& served = {}) {
    const pdb_server::platform_services services{
        [](const wchar_t*, wchar_t*, std::uint32_t, std::uint32_t& error) {
            error = 203;
            return std::uint32_t{0};
        },
        [&](const std::wstring&, const std::wstring&, const GUID&, std::uint32_t) { return served; }};
    options wanted;
    wanted.search = {policy, search_paths};
    kept_output out;
    const outcome end = explain(wanted, read_module_file(image), services, "", out);
    return {end.code, out.text};
}

std::string shown(const boost::filesystem::path& place) {
    return printable(text::to_wide(place));
}

constexpr std::uint8_t all = policy_symbol_server | policy_original_path | policy_reference_path;

TEST(Explanation, PortablePdbStepByStep) {
    const qv::testing::temporary_directory directory;
    const auto image = directory.copy(fixture("Standalone.dll"), "app/Standalone.dll");
    directory.copy(fixture("Mismatch.pdb"), "app/Standalone.pdb");
    directory.write("a/Standalone.pdb", "no PDB");
    const std::vector<std::wstring> search_paths = {text::to_wide(directory.path() / "a"), L"srv*s",
                                                    L"symsrv*other.dll*s"};
    const auto policy = static_cast<std::uint8_t>(all & ~policy_symbol_server);
    const explained refused = explain_module(image, policy, search_paths);
    EXPECT_EQ(refused.code, exit_code::error_answer);
    for (const std::string& line :
         {"  wrong id      d357adac-f094-4053-8140-c7fa068bbbb7 stamp b611b533  " +
              shown(directory.path() / "app" / "Standalone.pdb") + "\n",
          "  no such file  " + shown(directory.path() / "app" / "symbols" / "Standalone.pdb") + "\n",
          "  not a PDB     " + shown(directory.path() / "a" / "Standalone.pdb") + "\n",
          std::string("  not allowed   srv*s\n")})
        EXPECT_THAT(refused.text, HasSubstr(line));
    EXPECT_THAT(refused.text, EndsWith("\n\nNot found: put the PDB of this very build, the one with the id above, in "
                                       "place of the other one.\n"));

    const explained nothing = explain_module(image, all, search_paths);
    EXPECT_THAT(nothing.text, HasSubstr("  asked         s\n"));
    EXPECT_THAT(nothing.text, HasSubstr("  has none      s\n"));
    EXPECT_THAT(nothing.text, HasSubstr("  not asked     symsrv*other.dll*s\n"));
    const explained found = explain_module(image, all, search_paths, fixture("Standalone.pdb"));
    EXPECT_EQ(found.code, exit_code::done);
    EXPECT_THAT(found.text, EndsWith("\n\nFound: " + shown(fixture("Standalone.pdb")) + "\n"));
}

TEST(Explanation, ImagesThatNameNoFile) {
    EXPECT_THAT(explain_module(fixture("Embedded.dll"), all, {}).text, EndsWith("\n\nFound: in the image itself.\n"));
    EXPECT_THAT(explain_module(fixture("NoSymbols.dll"), all, {}).text,
                EndsWith("\n\nNot found: build the module with a PDB.\n"));
}

TEST(Explanation, ClassicPdbWithItsAge) {
    auto description = qv::test::sample_pdb_description();
    const qv::testing::sample_module sample(description);
    description.age += 1;
    qv::testing::sample_module::write_pdb(sample.directory, description);
    const explained got = explain_module(sample.image, policy_reference_path, {L"srv*s"});
    EXPECT_THAT(got.text, HasSubstr("  not allowed   C:\\obj\\module.pdb\n"));
    EXPECT_THAT(got.text, HasSubstr(" age " + std::to_string(description.age) + "  " + shown(sample.pdb) + "\n"));
    EXPECT_THAT(got.text, HasSubstr("  wrong age  "));
    EXPECT_THAT(got.text, HasSubstr("  not allowed   srv*s\n"));
}

}  // namespace
}  // namespace qv::profiler::pdb_client
