// Methods shown in their sources.
#include "pdb_client/program/annotated_method.h"

#include <gmock/gmock.h>

#include "pdb_client/program/display_text.h"
#include "pdb_client/program/file_checksum.h"
#include "pdb_client/program/output_test_support.h"
#include "pdb_client/program/source_file.h"
#include "tests/support/files/test_files.h"
#include "text/path.h"

namespace qv::profiler::pdb_client {
namespace {

using qv::testing::temporary_directory;
using ::testing::HasSubstr;

constexpr GUID sha256 = {0x8829d00f, 0x11b8, 0x4213, {0x87, 0x8b, 0x77, 0x0e, 0x85, 0x97, 0xac, 0x16}};

document recorded(const std::wstring& url, const std::string& content) {
    return {url, sha256, checksum_of(content, checksum_kind::sha256)};
}

TEST(FileChecksum, OfThePublishedExample) {
    const std::pair<checksum_kind, const char*> cases[] = {
        {checksum_kind::md5, "900150983cd24fb0d6963f7d28e17f72"},
        {checksum_kind::sha1, "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {checksum_kind::sha256, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"}};
    for (const auto& [kind, checksum] : cases) EXPECT_EQ(hex_text(checksum_of("abc", kind)), checksum);
}

// Line 2 begins with a tab; the range of line 3 goes on to line 9; lines 4 to 8 have no points; 11 is not there.
TEST(AnnotatedMethod, PointsUnderTheirLines) {
    const temporary_directory directory;
    const std::string source = "int f() {\n\treturn \xe4\xb8\xad(1);\r\n  g(\n4\n5\n6\n7\n8\n  9);  \n}";
    directory.write("b/f.cs", source);
    constexpr std::uint32_t hidden = 0xFEEFEE;
    const method_symbols method{0x06000001,
                                {{0, {1, 1, 9, 1, 10}},
                                 {1, {1, 2, 2, 2, 9}},
                                 {2, {1, hidden, 0, hidden, 0}},
                                 {3, {1, 2, 10, 2, 13}},
                                 {4, {1, 3, 3, 9, 5}},
                                 {5, {1, 11, 1, 11, 2}},
                                 {6, {2, 1, 1, 1, 2}}},
                                {}};
    const document_map documents = {{1, {recorded(L"C:\\a\\b\\f.cs", source), {}, {}, "https://h/f.cs"}},
                                    {2, {{L"/gone.cs", {}, {}}, {}, {}, {}}}};
    const std::vector<boost::filesystem::path> directories = {directory.path()};
    kept_output out;
    EXPECT_FALSE(show_annotated({method, {}, documents, directories}, out));
    EXPECT_EQ(out.text, "0x06000001\n\n[1] C:\\a\\b\\f.cs\n    https://h/f.cs\n    in " +
                            printable(text::to_wide(directory.path() / "b" / "f.cs")) +
                            "; SHA-256 matches\n\n"
                            "      1  int f() {\n"
                            "IL_0000          ~\n"
                            "      2      return \xe4\xb8\xad(1);\n"
                            "IL_0001      ~~~~~~~\n"
                            "IL_0002  hidden\n"
                            "IL_0003               ~~~\n"
                            "      3    g(\n"
                            "IL_0004    ~~\n"
                            "    ...\n"
                            "      9    9);\n"
                            "    ...    ~~\n"
                            "     10  }\n"
                            "     11  (behind the end of the file)\n"
                            "IL_0005  ~\n"
                            "\n[2] /gone.cs\n"
                            "    source not found; --source_root names a directory to look in\n"
                            "    IL_0006  1:1 - 1:2\n");
    out.text.clear();
    out.colours = true;
    show_annotated({method, {}, documents, directories}, out);
    EXPECT_THAT(out.text, HasSubstr("\x1b[33mIL_0000\x1b[0m          \x1b[32m~\x1b[0m\n"));
}

TEST(AnnotatedMethod, SourcesOfOtherContent) {
    const temporary_directory directory;
    const std::vector<boost::filesystem::path> directories = {directory.path()};
    const auto shown = [&](const document& content) {
        const method_symbols method{1, {{0, {1, 1, 1, 1, 2}}}, {}};
        const document_map documents = {{1, {content, {}, {}, {}}}};
        kept_output out;
        show_annotated({method, {}, documents, directories}, out);
        return out.text;
    };
    directory.write("f.cs", "a\nb\n");
    EXPECT_THAT(shown(recorded(L"x/f.cs", "a\r\nb\r\n")), HasSubstr("SHA-256 matches but for the line ends\n"));
    EXPECT_THAT(shown(recorded(L"x/f.cs", "c")),
                HasSubstr("SHA-256 DIFFERS: this is not the text that was compiled\n"));
    EXPECT_THAT(shown({L"x/f.cs", {}, {}}), HasSubstr("; no checksum is recorded\n"));
    EXPECT_THAT(shown({L"x/f.cs", {1, 0, 0, {}}, {1}}), HasSubstr("; not checked: 00000001-0000-"));
    EXPECT_THAT(shown({L"x/../f.cs", {}, {}}), HasSubstr("f.cs; no checksum"));
    EXPECT_THAT(shown({L"f.cs/../..", {}, {}}), HasSubstr("source not found"));
    directory.write("x/f.cs", "right");
    EXPECT_THAT(shown(recorded(L"f.cs", "a\nb\n")), HasSubstr("SHA-256 matches\n"));
    directory.write("f.cs", "wrong");
    EXPECT_THAT(shown(recorded(L"y/x/f.cs", "right")), HasSubstr("SHA-256 matches\n"));
}

}  // namespace
}  // namespace qv::profiler::pdb_client
