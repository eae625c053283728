#include "pdb_client/program/run_command.h"

#include <gtest/gtest.h>

#include <boost/json.hpp>

#include "pdb_client/library/scripted_stream.h"

namespace qv::profiler::pdb_client {
namespace {

// Module id 1 is the answer to request 1; a test's own answers count from request 2.
class RunCommand : public testing::Test {
protected:
    outcome run(command what) {
        options wanted;
        wanted.what = what;
        wanted.json = json;
        wanted.token = 0x06000002;
        session symbols(server, {});
        return run_command(symbols, wanted, module);
    }

    void answer_handshake_and_load() {
        server.answer(handshake_answers);
        server.answer("30 03 01 00 01");
    }

    scripted_stream server;
    bool json = false;
    module_info module{L"C:\\m.dll", {}, 3, symbol_kind::portable, "C:\\m\x1b.pdb"};
};

// Three methods: one point, an error, no points; then the document of the point.
constexpr std::string_view three_methods =
    "42 07 02 00 01 00 00 00 00"
    "43 17 03 00 01 05 00 00 00 01 00 00 00 01 00 00 00 01 00 00 00 02 00 00 00"
    "42 03 04 01 'e'"
    "42 03 05 00 00"
    "45 06 06 00 02 'a.' 00";

TEST_F(RunCommand, DumpGoesOnAfterAnErrorAndReportsIt) {
    answer_handshake_and_load();
    server.answer(three_methods);
    server.answer("44 03 07 00 00  ff 02 08 00");
    const outcome got = run(command::dump);
    EXPECT_EQ(got.code, exit_code::error_answer);
    EXPECT_EQ(got.output,
              "m.dll  MVID 00000000-0000-0000-0000-000000000000\n"
              "3 methods, 1 with sequence points; 1 point in 1 document\n"
              "\n"
              "[5] a.\n"
              "    no checksum\n"
              "\n"
              "0x06000001  [5] a.\n"
              "    IL_0000  1:1 - 1:2\n");
    EXPECT_EQ(got.messages, "method 0x06000002: e\n");
}

TEST_F(RunCommand, DocumentsAsJsonHasNoMethods) {
    answer_handshake_and_load();
    server.answer(three_methods);
    server.answer("ff 02 07 00");
    json = true;
    const auto got = boost::json::parse(run(command::documents).output).as_object();
    EXPECT_EQ(got.at("documents").as_array().size(), 1u);
    EXPECT_FALSE(got.contains("methods"));
    EXPECT_FALSE(got.contains("sourceServerData"));
}

TEST_F(RunCommand, MethodAsksForItsTokenOnly) {
    answer_handshake_and_load();
    server.answer("42 03 02 00 00  ff 02 03 00");
    const outcome got = run(command::method);
    EXPECT_EQ(got.code, exit_code::done);
    EXPECT_EQ(got.output, "0x06000002  no sequence points\n");
    const auto writes = server.take_writes();
    EXPECT_EQ(writes.at(3), hex("42 03 02 01 01"));
}

TEST_F(RunCommand, MethodWithAnErrorHasNoTable) {
    answer_handshake_and_load();
    server.answer("42 03 02 01 'e'  ff 02 03 00");
    const outcome got = run(command::method);
    EXPECT_EQ(got.code, exit_code::error_answer);
    EXPECT_EQ(got.output, "");
    EXPECT_EQ(got.messages, "method 0x06000002: e\n");
}

TEST_F(RunCommand, SourceLinkEndsItsLastLine) {
    answer_handshake_and_load();
    server.answer("44 0a 02 00 07 '{' 0d 0a '}' 1b 0d 0a  ff 02 03 00");
    EXPECT_EQ(run(command::sourcelink).output, "{\n}\\x1b\n");
}

TEST_F(RunCommand, NoSourceLinkIsSaidBesideTheOutput) {
    answer_handshake_and_load();
    server.answer("44 03 02 00 00  ff 02 03 00");
    const outcome got = run(command::sourcelink);
    EXPECT_EQ(got.code, exit_code::done);
    EXPECT_EQ(got.output, "");
    EXPECT_EQ(got.messages, "The module has no source server data.\n");
}

TEST_F(RunCommand, LoadErrorIsTheServersText) {
    server.answer(handshake_answers);
    server.answer("30 0e 01 0c 'wrong' 1b 'build!'  ff 02 02 00");
    const outcome got = run(command::dump);
    EXPECT_EQ(got.code, exit_code::error_answer);
    EXPECT_EQ(got.output, "");
    EXPECT_EQ(got.messages, "C:\\m.dll: wrong\\x1bbuild!\n");
}

TEST_F(RunCommand, NothingLoadedSaysWhy) {
    const std::pair<symbol_kind, const char*> cases[] = {
        {symbol_kind::none, "the image names no symbols: it was built without a PDB"},
        {symbol_kind::embedded, "the portable PDB in the image was not accepted"},
        {symbol_kind::portable, "its portable PDB was not found, or is of another build: C:\\m\\x1b.pdb"},
        {symbol_kind::classic, "its Windows PDB was not found, or cannot be read there: C:\\m\\x1b.pdb"}};
    for (const auto& [kind, why] : cases) {
        server.answer(handshake_answers);
        server.answer("30 03 01 00 00  ff 02 02 00");
        module.symbols = kind;
        const outcome got = run(command::dump);
        EXPECT_EQ(got.code, exit_code::error_answer);
        EXPECT_EQ(got.messages, std::string("C:\\m.dll: no symbols; ") + why + "\n");
    }
}

TEST_F(RunCommand, OffsetsAndRangesThatDoNotBelongTogetherThrow) {
    answer_handshake_and_load();
    server.answer("42 07 02 00 01 00 00 00 00  43 03 03 00 00");
    EXPECT_THROW(run(command::dump), std::exception);
}

}  // namespace
}  // namespace qv::profiler::pdb_client
