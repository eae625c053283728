// The log of a whole run, line by line, for each mask.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/server/server_process.h"

namespace {

using namespace qv::testing;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsSupersetOf;
using ::testing::StartsWith;

// The records of a run with every command, without their thread; a continuation line keeps its TAB.
std::vector<std::string> records_of_a_run(std::uint16_t mask) {
    server_process server(server_process::settings{.log_mask = mask});
    EXPECT_TRUE(server.wait_until_ready());
    raw_client client(server.pipe_id());
    client.exchange_for(handshake(), handshake_answer().size());
    for (const exchange& step : every_command()) client.exchange_for(step.request, step.answer.size());
    client.exchange_for(packet(0xFF, {11}), 4);
    client.receive_rest();
    server.request_stop();
    EXPECT_EQ(server.wait_for_exit(patience_milliseconds), 0u);

    const std::string log = server.log();
    std::vector<std::string> records;
    for (std::size_t at = 0, end; at < log.size(); at = end + 2) {
        end = std::min(log.find("\r\n", at), log.size());
        const std::string line = log.substr(at, end - at);
        const bool is_record = line.find_first_not_of("0123456789ABCDEF") == 8 && line[8] == ' ';
        EXPECT_TRUE(is_record || line.starts_with("\t")) << line;
        records.push_back(is_record ? line.substr(9) : line);
    }
    return records;
}

// The records of one context. Whether the host has a reader of classic PDB files is another matter.
std::vector<std::string> of(const std::string& context, const std::vector<std::string>& records) {
    std::vector<std::string> found;
    for (const std::string& record : records)
        if (record.starts_with(context) && !record.starts_with("WARNING: Can't create symbol binder"))
            found.push_back(record);
    return found;
}

class LogOfARun : public ::testing::TestWithParam<std::uint16_t> {};

TEST_P(LogOfARun, HoldsWhatTheMaskAsksFor) {
    const bool core_bridge = (GetParam() & 1) != 0;
    const bool pdb_gt = (GetParam() & 16) != 0;
    const std::vector<std::string> records = records_of_a_run(GetParam());
    EXPECT_EQ(records.front(), "Initialized");
    EXPECT_THAT(records.at(1), AllOf(StartsWith("\tLogFile='"), EndsWith("log.txt'")));
    EXPECT_THAT(records.at(2), AllOf(StartsWith("\tRealLogFile='"), EndsWith("log.txt'")));
    EXPECT_EQ(records.back(), "Finished");
    EXPECT_THAT(records, Contains(core_bridge ? "\t 0: [X] CoreBridge" : "\t 0: [ ] CoreBridge"));
    EXPECT_THAT(records, Contains(pdb_gt ? "\t 4: [X] PdbGt" : "\t 4: [ ] PdbGt"));
    EXPECT_EQ(of("CP::", records).empty(), !core_bridge);
    EXPECT_EQ(of("PP::", records).empty(), !pdb_gt);
    // The host's records and warnings are never gated.
    EXPECT_THAT(records,
                IsSupersetOf({"S::RunPipes res=starting", "S::RunPipes res=started", "S::RunPipes res=shutdowning",
                              "S::RunNewThread res=ok c=1", "S::SetExternalReadySignal res=ok",
                              "S::WorkThread res=started", "S::WorkThread res=listen", "S::WorkThread res=connected",
                              "S::WorkThread res=disconnected", "S::WorkThread res=exited c=0"}));
    EXPECT_THAT(records, Contains(StartsWith("S::RunPipes res=shutdow ")));
    EXPECT_THAT(of("WARNING: ", records), ElementsAre("WARNING: Unknown PDB module", "WARNING: Too large table index"));
}

INSTANTIATE_TEST_SUITE_P(Masks, LogOfARun, ::testing::Values(0, 1, 16),
                         [](const auto& test) { return "Mask" + std::to_string(test.param); });

TEST(LogOfACommand, NamesItsStepsInOrder) {
    const std::vector<std::string> records = records_of_a_run(17);
    EXPECT_THAT(of("CP::CmdGetDocument", records),
                ElementsAre("CP::CmdGetDocument res=started", "CP::CmdGetDocument id=7 res=received",
                            "CP::CmdGetDocument id=7 res=executed", "CP::CmdGetDocument res=finished",
                            "CP::CmdGetDocument res=started", "CP::CmdGetDocument id=8 res=received",
                            "CP::CmdGetDocument id=8 res=executed", "CP::CmdGetDocument res=finished"));
    EXPECT_THAT(of("PP::UnloadModule", records), ElementsAre("PP::UnloadModule pdbmid=1", "PP::UnloadModule pdbmid=2"));
    EXPECT_THAT(of("PP::Init", records),
                ElementsAre("PP::Init res=started", "PP::Init policy=fosr", "PP::Init res=finished"));
    EXPECT_THAT(
        records,
        IsSupersetOf(
            {"PP::GetDocument pdbmid=1 pdbdid=3",
             "PP::GetDocument pdbmid=1 pdbdid=3 url='/gen/md5.txt' "
             "chkAlgId={406ea660-64cf-4c82-b6f0-42d48172a799} chkSize=16",
             "PP::GetMethodOffsets pdbmid=1 token=100663297",
             "PP::GetMethodOffsets pdbmid=1 token=100663297 res=ok c=3", "PP::GetMethodOffsets pdbmid=1 data=''",
             "PP::GetSourceServerData pdbmid=1", "PP::GetMethodRanges pdbmid=3 token=100663298",
             "PP::GetMethodRanges pdbmid=3 token=100663298 res=ok c=5", "PP::GetMethodRanges st=1 res=generated",
             "PP::GetMethodRanges st=2 res=generated", "PP::GetMethodRanges st=4 res=generated",
             "PP::LoadModule mvid={00000001-0000-0000-0000-000000000000} name='no/such/module.dll'",
             "PP::LoadModule res=not_found mvid={00000001-0000-0000-0000-000000000000}",
             "PP::AddSearchPathFromEnvironment name='_NT_ALT_SYMBOL_PATH'",
             "PP::AddSearchPathFromEnvironment name='_NT_SYMBOL_PATH'"}));
    EXPECT_THAT(records, Contains(StartsWith("PP::LoadModule res=no_pdb mvid={")));
    EXPECT_THAT(records, Contains(StartsWith("PP::LoadModule pdbmid=1 mvid={")));
    for (const std::string scope :
         {"CP::ProcessCommands", "CP::CmdLoadModule", "CP::CmdUnloadModule", "CP::CmdGetMethodOffsets",
          "CP::CmdGetMethodRanges", "CP::CmdGetModuleSourceServerdata", "CP::CmdQuit", "PP::Term"}) {
        const std::vector<std::string> steps = of(scope + " ", records);
        ASSERT_FALSE(steps.empty()) << scope;
        EXPECT_EQ(steps.front(), scope + " res=started");
        EXPECT_EQ(steps.back(), scope + " res=finished");
    }
}

}  // namespace
