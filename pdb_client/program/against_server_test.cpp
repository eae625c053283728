// The commands of the program against the real server, over an in-memory pipe, on modules that a compiler wrote.
#include <gmock/gmock.h>

#include <array>
#include <boost/json.hpp>
#include <functional>
#include <map>
#include <thread>

#include "core/src/bridges/packet_writer.h"
#include "pdb_client/program/display_text.h"
#include "pdb_client/program/module_file.h"
#include "pdb_client/program/run_command.h"
#include "pdb_server/src/command_processor.h"
#include "tests/support/expected/expected.h"
#include "tests/support/files/test_files.h"
#include "tests/support/streams/duplex_pipe.h"

namespace qv::profiler::pdb_client {
namespace {

namespace json = boost::json;

using qv::testing::duplex_pipe;
using qv::testing::fixture;
using ::testing::EndsWith;
using ::testing::HasSubstr;

void serve(qv::testing::duplex_end& stream) {
    packet_reader reader(stream);
    packet_writer writer(stream);
    pdb_server::process_commands([] { return false; },
                                 [&](int milliseconds) { return stream.WaitForDataToRead(milliseconds); }, &reader,
                                 &writer);
}

// One command on one connection; the server's end must come to its own end without a failure.
outcome ask(const std::string& module, command what, std::uint32_t token = 0, bool as_json = false) {
    duplex_pipe pipe;
    std::string server_failure;
    std::thread server([&] {
        try {
            serve(*pipe.server);
        } catch (const std::exception& error) {
            server_failure = error.what();
        }
        pipe.server->Close();
    });
    outcome result;
    try {
        options wanted;
        wanted.what = what;
        wanted.token = token;
        wanted.json = as_json;
        session symbols(*pipe.client, {});
        result = run_command(symbols, wanted, read_module_file(fixture(module)));
    } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();
    }
    pipe.client->Close();
    server.join();
    EXPECT_EQ(server_failure, "");
    return result;
}

TEST(AgainstServer, ModuleFilesAreWhatTheyAre) {
    const std::pair<const char*, symbol_kind> cases[] = {{"Standalone", symbol_kind::portable},
                                                         {"Embedded", symbol_kind::embedded},
                                                         {"LinuxPath", symbol_kind::portable},
                                                         {"NoMethods", symbol_kind::portable},
                                                         {"NoSymbols", symbol_kind::none}};
    for (const auto& [name, kind] : cases) {
        SCOPED_TRACE(name);
        const auto expected = qv::testing::load_expected(fixture(std::string(name) + ".expected.json"));
        const module_info module = read_module_file(fixture(std::string(name) + ".dll"));
        EXPECT_EQ(module.mvid, expected.mvid);
        EXPECT_EQ(module.method_rows, expected.method_rows);
        EXPECT_EQ(module.symbols, kind);
        EXPECT_EQ(module.recorded_pdb.empty(), kind != symbol_kind::portable);
    }
}

TEST(AgainstServer, MethodInSeveralDocuments) {
    const outcome got = ask("Documents.dll", command::method, 0x06000002);
    EXPECT_EQ(got.code, exit_code::done);
    EXPECT_EQ(got.output,
              "0x06000002  several documents\n"
              "    IL_0000   7:32 -  7:33  [2] /src/Documents.cs\n"
              "    IL_0001   8:9  -  8:17  [2] /src/Documents.cs\n"
              "    IL_0007  10:9  - 10:17  [3] /gen/md5.txt\n"
              "    IL_000d  20:9  - 20:17  [4] /gen/sha1.txt\n"
              "    IL_0013  21:9  - 21:18  [4] /gen/sha1.txt\n"
              "    IL_0019  30:9  - 30:17  [5] /gen/own.txt\n"
              "    IL_001f  40:9  - 40:17  [6] /src/relative/none.txt\n"
              "    IL_0025   5:9  -  5:18  [3] /gen/md5.txt\n"
              "    IL_002b  21:9  - 21:18  [2] /src/Documents.cs\n"
              "    IL_0031  22:5  - 22:6   [2] /src/Documents.cs\n");
}

TEST(AgainstServer, MethodWithHiddenPoints) {
    EXPECT_EQ(ask("Hidden.dll", command::method, 0x06000002).output,
              "0x06000002  [1] C:\\src\\Hidden.cs\n"
              "    IL_0000   16:42 -  16:43\n"
              "    IL_0001  hidden\n"
              "    IL_0005  hidden\n"
              "    IL_0009  200:9  - 200:23\n"
              "    IL_000d  hidden\n");
}

TEST(AgainstServer, Documents) {
    EXPECT_EQ(ask("Sha1.dll", command::documents).output,
              "[1] C:\\src\\Sha1.cs\n"
              "    SHA-1 d189fad3dc7810415ba6ee06025a1b9435bf0be5\n");
    EXPECT_THAT(ask("NonAscii.dll", command::documents).output,
                HasSubstr("[4] /\xf0\x9f\x98\x80/\xf0\x9d\x92\xb3.cs\n    no checksum\n"));
}

TEST(AgainstServer, SourceLink) {
    EXPECT_THAT(ask("SourceLink.dll", command::sourcelink).output,
                HasSubstr("\"https://example.org/raw/Gr\u00f6\u00dfe/"));
}

TEST(AgainstServer, ModulesWithoutSymbolsSayWhy) {
    const std::pair<const char*, const char*> cases[] = {
        {"NoSymbols.dll", ": no symbols; the image names no symbols: it was built without a PDB\n"},
        {"Mismatch.dll",
         ": no symbols; its portable PDB was not found, or is of another build: C:\\src\\Mismatch.pdb\n"}};
    for (const auto& [module, why] : cases) {
        const outcome got = ask(module, command::dump);
        EXPECT_EQ(got.code, exit_code::error_answer);
        EXPECT_EQ(got.output, "");
        EXPECT_THAT(got.messages, EndsWith(why));
    }
}

TEST(AgainstServer, MethodThatIsNotThereIsTheServersError) {
    const outcome got = ask("Documents.dll", command::method, 0x06000100);
    EXPECT_EQ(got.code, exit_code::error_answer);
    EXPECT_EQ(got.messages, "method 0x06000100: Too large table index\n");
}

// The JSON of a dump, held against the fixtures' expected answers.
using point_lists = std::map<std::string, std::vector<std::array<std::uint32_t, 6>>>;

point_lists points_in(const std::string& dump) {
    point_lists found;
    const json::value parsed = json::parse(dump);
    for (const json::value& method : parsed.at("methods").as_array()) {
        auto& points = found[json::value_to<std::string>(method.at("token"))];
        for (const json::value& point : method.at("points").as_array()) {
            const auto number = [&](const char* name) { return json::value_to<std::uint32_t>(point.at(name)); };
            points.push_back({number("offset"), number("document"), number("startLine"), number("startColumn"),
                              number("endLine"), number("endColumn")});
            EXPECT_EQ(point.at("hidden").as_bool(), number("startLine") == hidden_line);
        }
    }
    return found;
}

point_lists points_of(const qv::testing::expected_module& expected) {
    point_lists points;
    for (const auto& [token, list] : expected.methods)
        for (const auto& [offset, range] : list)
            points[token_text(token)].push_back(
                {offset, range.document, range.start_line, range.start_column, range.end_line, range.end_column});
    return points;
}

TEST(AgainstServer, JsonDumpHasEveryPoint) {
    for (const char* name : {"Documents", "Embedded", "Hidden", "LinuxPath", "NoMethods", "Ranges", "Standalone"}) {
        SCOPED_TRACE(name);
        const auto expected = qv::testing::load_expected(fixture(std::string(name) + ".expected.json"));
        const outcome got = ask(std::string(name) + ".dll", command::dump, 0, true);
        ASSERT_EQ(got.code, exit_code::done);
        EXPECT_EQ(points_in(got.output), points_of(expected));
    }
}

}  // namespace
}  // namespace qv::profiler::pdb_client
