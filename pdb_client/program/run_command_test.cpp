#include "pdb_client/program/run_command.h"

#include <gmock/gmock.h>

#include "pdb_client/library/scripted_stream_test_support.h"
#include "pdb_client/program/display_text.h"
#include "pdb_client/program/module_file.h"
#include "pdb_client/program/output_test_support.h"
#include "tests/support/files/test_files.h"

namespace qv::profiler::pdb_client {
namespace {

constexpr exit_code done = exit_code::done;
constexpr exit_code error = exit_code::error_answer;
const module_info sample_module{L"C:\\m.dll", {}, 3, symbol_kind::none, {}, {}, {}};

struct result : outcome {
    std::string output;
    bool verbatim;
};

// What the program says and returns when the server answers so; request 1 is the load.
result run(command what, const std::string& answers, bool json = false) {
    scripted_stream server(handshake_answers + answers);
    options wanted;
    wanted.what = what;
    wanted.json = json;
    wanted.token = 0x06000002;
    session symbols(server, {});
    kept_output out;
    const outcome end = run_command(symbols, wanted, sample_module, out);
    return {end, out.text, out.verbatim};
}

const std::string loaded = "30 03 01 00 01";

// Three methods: one point, with its document; an error; no points.
const std::string three_methods = loaded +
                                  "42 07 02 00 01 00 00 00 00"
                                  "43 17 03 00 01 05 00 00 00 01 00 00 00 01 00 00 00 01 00 00 00 02 00 00 00"
                                  "45 06 04 00 02 'a.' 00  42 03 05 01 'e'  42 03 06 00 00";

TEST(RunCommand, DumpGoesOnAfterAnErrorAndReportsIt) {
    const result got = run(command::dump, three_methods + "44 03 07 00 00  ff 02 08 00");
    EXPECT_EQ(got.code, error);
    EXPECT_EQ(got.output,
              "m.dll  MVID 00000000-0000-0000-0000-000000000000\n3 methods\n\n"
              "0x06000001\n    [5] a.\n    IL_0000  1:1 - 1:2\n\n"
              "[5] a.\n    no checksum\n\n"
              "1 method with sequence points; 1 point in 1 document\n");
    EXPECT_EQ(got.messages, "method 0x06000002: e\n");
    EXPECT_EQ(run(command::documents, three_methods + "ff 02 07 00", true).output,
              "{\n  \"module\": \"C:\\\\m.dll\",\n  \"mvid\": \"00000000-0000-0000-0000-000000000000\",\n"
              "  \"methodDefs\": 3,\n  \"documents\": [\n"
              "    {\"id\":5,\"name\":\"a.\",\"hashAlgorithm\":null,\"hash\":null,"
              "\"methods\":[{\"token\":\"0x06000001\",\"name\":null}]}\n  ]\n}\n");
}

// The first method is written before the second is asked for, which this server would not answer.
TEST(RunCommand, OutputIsWrittenAsItIsMade) {
    scripted_stream server(handshake_answers + three_methods.substr(0, three_methods.find("42 03 05")));
    session symbols(server, {});
    kept_output out;
    out.limit = 1;
    EXPECT_THROW(run_command(symbols, {}, sample_module, out), output_ended);
    EXPECT_EQ(out.text, "m.dll  MVID 00000000-0000-0000-0000-000000000000\n3 methods\n");
}

TEST(RunCommand, OutputMessagesAndExitCode) {
    constexpr const char* not_registered =
        "C:\\m.dll: No (error 80040154)\nNo reader of classic PDBs is registered: as an administrator, run regsvr32 on "
        "the qv_symbols.dll in the server's folder.\n";
    const struct {
        command what;
        std::string answers;
        exit_code code;
        const char* output;
        std::string messages;
    } cases[] = {
        {command::method, loaded + "42 03 02 00 00  ff 03 03 01 'q'", error, "0x06000002\n    no sequence points\n",
         "quit: q\n"},
        {command::method, loaded + "42 03 02 01 'e'  ff 02 03 00", error, "", "method 0x06000002: e\n"},
        {command::sourcelink, loaded + "44 06 02 00 03 'a' 1b 'z'  ff 02 03 00", done, "a\x1bz", ""},
        {command::sourcelink, loaded + "44 03 02 00 00  ff 02 03 00", done, "",
         "The module has no source server data.\n"},
        {command::dump, "30 06 01 04 'bad' 1b  ff 02 02 00", error, "", "C:\\m.dll: bad\\x1b\n"},
        {command::dump, "30 15 01 13 'No (error 80040154)'  ff 02 02 00", error, "", not_registered},
        {command::dump, "30 03 01 00 00  ff 02 02 00", error, "",
         "C:\\m.dll: no symbols; the image names no symbols: it was built without a PDB\n"},
    };
    for (const auto& tested : cases) {
        const result got = run(tested.what, tested.answers);
        EXPECT_EQ(got.code, tested.code) << tested.answers;
        EXPECT_EQ(got.output, tested.output);
        EXPECT_EQ(got.messages, tested.messages);
        EXPECT_EQ(got.verbatim, tested.what == command::sourcelink && *tested.output != 0) << tested.answers;
    }
    EXPECT_FALSE(run(command::sourcelink, loaded + "44 03 02 00 00  ff 02 03 00", true).verbatim);
}

TEST(RunCommand, OffsetsAndRangesThatDoNotBelongTogetherThrow) {
    EXPECT_THROW(run(command::dump, loaded + "42 07 02 00 01 00 00 00 00  43 03 03 00 00"), std::exception);
}

TEST(RunCommand, MethodsByTokenAndByName) {
    const module_info module = read_module_file(qv::testing::fixture("Documents.dll"));
    const auto settle = [&](std::uint32_t token, const char* name, bool json = false) {
        options wanted;
        wanted.token = token;
        wanted.method_name = name;
        wanted.json = json;
        kept_output out;
        const auto end = settle_method(wanted, module, out);
        return end ? out.text + end->messages : token_text(wanted.token);
    };
    EXPECT_EQ(settle(0x06000005, ""), "0x06000005");
    EXPECT_EQ(settle(0x06000006, ""), "Documents.dll: no method 0x06000006; the last one is 0x06000005\n");
    EXPECT_EQ(settle(0, "none\x1b"), "Documents.dll: no method 'none\\x1b'\n");
    EXPECT_EQ(settle(0, "Mixed"), "0x06000002");
    EXPECT_THAT(settle(0, "Documents"), ::testing::EndsWith("5 methods fit 'Documents'; give one by its token\n"));
}

}  // namespace
}  // namespace qv::profiler::pdb_client
