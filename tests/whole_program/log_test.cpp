// The log of a whole run, line by line, for each mask.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/server/server_process.h"

namespace {

using namespace qv::testing;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsSupersetOf;
using ::testing::StartsWith;

std::vector<std::string> lines_of(const std::string& log) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < log.size();) {
        const std::size_t end = log.find("\r\n", at);
        if (end == std::string::npos) return {"a line without end: " + log.substr(at)};
        lines.push_back(log.substr(at, end - at));
        at = end + 2;
    }
    return lines;
}

std::string log_of_a_run(std::uint16_t mask) {
    server_process::settings settings;
    settings.log_mask = mask;
    server_process server(settings);
    EXPECT_TRUE(server.wait_until_ready());
    raw_client client(server.pipe_id());
    client.exchange_for(handshake(), handshake_answer().size());
    for (const exchange& step : every_command()) client.exchange_for(step.request, step.answer.size());
    client.exchange_for(packet(0xFF, {11}), 4);
    client.receive_rest();
    server.request_stop();
    EXPECT_EQ(server.wait_for_exit(patience_milliseconds), 0u);
    return server.log();
}

// The records whose body begins with this context, without their thread prefix.
std::vector<std::string> bodies(const std::vector<std::string>& lines, const std::string& context) {
    std::vector<std::string> found;
    for (const std::string& line : lines)
        if (line.size() > 9 && line.compare(9, context.size(), context) == 0) found.push_back(line.substr(9));
    return found;
}

// The warnings of queries. Whether the host has a reader of classic PDB files is another matter.
std::vector<std::string> query_warnings(const std::vector<std::string>& lines) {
    std::vector<std::string> warnings = bodies(lines, "WARNING: ");
    std::erase_if(warnings, [](const std::string& w) { return w.starts_with("WARNING: Can't create symbol binder"); });
    return warnings;
}

// The text of a record with its thread, of which eight digits tell; empty for any other line.
std::string record(const std::string& line) {
    const bool is_one = line.find_first_not_of("0123456789ABCDEF") == 8 && line[8] == ' ';
    return is_one ? line.substr(9) : std::string();
}

class LogOfARun : public ::testing::TestWithParam<std::uint16_t> {};

TEST_P(LogOfARun, HoldsWhatTheMaskAsksFor) {
    const bool core_bridge = (GetParam() & 1) != 0;
    const bool pdb_gt = (GetParam() & 16) != 0;
    const std::vector<std::string> lines = lines_of(log_of_a_run(GetParam()));

    // Every line is a record, or the continuation of one.
    for (const auto& line : lines) EXPECT_TRUE(line.starts_with("\t") || !record(line).empty()) << line;
    EXPECT_EQ(record(lines.front()), "Initialized");
    EXPECT_THAT(lines.at(1), AllOf(StartsWith("\tLogFile='"), EndsWith("log.txt'")));
    EXPECT_THAT(lines.at(2), AllOf(StartsWith("\tRealLogFile='"), EndsWith("log.txt'")));
    EXPECT_EQ(record(lines.back()), "Finished");

    EXPECT_THAT(lines, Contains(core_bridge ? "\t 0: [X] CoreBridge" : "\t 0: [ ] CoreBridge"));
    EXPECT_THAT(lines, Contains(pdb_gt ? "\t 4: [X] PdbGt" : "\t 4: [ ] PdbGt"));
    EXPECT_EQ(bodies(lines, "CP::").empty(), !core_bridge);
    EXPECT_EQ(bodies(lines, "PP::").empty(), !pdb_gt);
    // The host's records and warnings are never gated.
    EXPECT_THAT(bodies(lines, "S::RunPipes"),
                AllOf(Contains("S::RunPipes res=starting"), Contains("S::RunPipes res=started"),
                      Contains("S::RunPipes res=shutdowning"), Contains(StartsWith("S::RunPipes res=shutdow "))));
    EXPECT_THAT(bodies(lines, "S::RunNewThread"), Contains("S::RunNewThread res=ok c=1"));
    EXPECT_THAT(bodies(lines, "S::WorkThread"),
                IsSupersetOf({"S::WorkThread res=started", "S::WorkThread res=listen", "S::WorkThread res=connected",
                              "S::WorkThread res=disconnected", "S::WorkThread res=exited c=0"}));
    EXPECT_THAT(query_warnings(lines), ElementsAre("WARNING: Unknown PDB module", "WARNING: Too large table index"));
}

INSTANTIATE_TEST_SUITE_P(Masks, LogOfARun, ::testing::Values(0, 1, 16),
                         [](const auto& test) { return "Mask" + std::to_string(test.param); });

TEST(LogOfACommand, NamesItsStepsInOrder) {
    const std::vector<std::string> lines = lines_of(log_of_a_run(17));
    EXPECT_THAT(bodies(lines, "CP::CmdGetDocument"),
                ElementsAre("CP::CmdGetDocument res=started", "CP::CmdGetDocument id=7 res=received",
                            "CP::CmdGetDocument id=7 res=executed", "CP::CmdGetDocument res=finished",
                            "CP::CmdGetDocument res=started", "CP::CmdGetDocument id=8 res=received",
                            "CP::CmdGetDocument id=8 res=executed", "CP::CmdGetDocument res=finished"));
    EXPECT_THAT(bodies(lines, "PP::GetDocument"),
                IsSupersetOf({"PP::GetDocument pdbmid=1 pdbdid=3",
                              "PP::GetDocument pdbmid=1 pdbdid=3 url='/gen/md5.txt' "
                              "chkAlgId={406ea660-64cf-4c82-b6f0-42d48172a799} chkSize=16"}));
    EXPECT_THAT(bodies(lines, "PP::GetMethodOffsets"),
                IsSupersetOf({"PP::GetMethodOffsets pdbmid=1 token=100663297",
                              "PP::GetMethodOffsets pdbmid=1 token=100663297 res=ok c=3",
                              "PP::GetMethodOffsets pdbmid=1 data=''"}));
    EXPECT_THAT(bodies(lines, "PP::GetSourceServerData"), Contains("PP::GetSourceServerData pdbmid=1"));
    EXPECT_THAT(bodies(lines, "PP::GetMethodRanges"),
                IsSupersetOf({"PP::GetMethodRanges pdbmid=3 token=100663298",
                              "PP::GetMethodRanges pdbmid=3 token=100663298 res=ok c=5",
                              "PP::GetMethodRanges st=1 res=generated", "PP::GetMethodRanges st=2 res=generated",
                              "PP::GetMethodRanges st=4 res=generated"}));
    EXPECT_THAT(bodies(lines, "PP::UnloadModule"),
                ElementsAre("PP::UnloadModule pdbmid=1", "PP::UnloadModule pdbmid=2"));
    const std::vector<std::string> loads = bodies(lines, "PP::LoadModule");
    EXPECT_THAT(loads, Contains(StartsWith("PP::LoadModule res=no_pdb mvid={")));
    EXPECT_THAT(loads, Contains(StartsWith("PP::LoadModule pdbmid=1 mvid={")));
    EXPECT_THAT(loads, IsSupersetOf({"PP::LoadModule mvid={00000001-0000-0000-0000-000000000000} "
                                     "name='no/such/module.dll'",
                                     "PP::LoadModule res=not_found mvid={00000001-0000-0000-0000-000000000000}"}));
    EXPECT_THAT(bodies(lines, "PP::Init"),
                ElementsAre("PP::Init res=started", "PP::Init policy=fosr", "PP::Init res=finished"));
    EXPECT_THAT(bodies(lines, "PP::Term"), ElementsAre("PP::Term res=started", "PP::Term res=finished"));
    EXPECT_THAT(bodies(lines, "PP::AddSearchPathFromEnvironment"),
                ElementsAre("PP::AddSearchPathFromEnvironment name='_NT_ALT_SYMBOL_PATH'",
                            "PP::AddSearchPathFromEnvironment name='_NT_SYMBOL_PATH'"));
    EXPECT_THAT(bodies(lines, "S::SetExternalReadySignal"), ElementsAre("S::SetExternalReadySignal res=ok"));

    for (const std::string scope :
         {"CP::ProcessCommands", "CP::CmdLoadModule", "CP::CmdUnloadModule", "CP::CmdGetMethodOffsets",
          "CP::CmdGetMethodRanges", "CP::CmdGetModuleSourceServerdata", "CP::CmdGetDocument", "CP::CmdQuit"}) {
        const std::vector<std::string> records = bodies(lines, scope + " ");
        ASSERT_FALSE(records.empty()) << scope;
        EXPECT_EQ(records.front(), scope + " res=started");
        EXPECT_EQ(records.back(), scope + " res=finished");
    }
}

}  // namespace
