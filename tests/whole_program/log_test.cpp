// The log of a whole run, line by line, for each component.
#include <gmock/gmock.h>

#include <algorithm>

#include "tests/support/server/server_process.h"

namespace {

using namespace qv::testing;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::MatchesRegex;
using ::testing::StartsWith;
using records = std::vector<std::string>;

// The records of one context. Whether the host has a reader of classic PDB files is another matter.
records of(const std::string& context, const records& all) {
    records found;
    std::copy_if(all.begin(), all.end(), std::back_inserter(found), [&](const std::string& record) {
        return record.starts_with(context) && !record.starts_with("WARNING: Can't create symbol binder");
    });
    return found;
}

// The records of a run with every command, without their thread; a continuation line keeps its TAB.
records records_of_a_run(std::uint16_t mask) {
    server_process server(server_process::settings{.log_mask = mask});
    served_client client(server);
    EXPECT_EQ(client.wrong_answers(every_command()), 0u);
    client.send(packet(0xFF, {11}));
    client.receive_rest();
    server.request_stop();
    EXPECT_EQ(server.exit_code(), 0u);

    const std::string log = server.log();
    records result;
    for (std::size_t at = 0, end; at < log.size(); at = end + 2) {
        end = std::min(log.find("\r\n", at), log.size());
        const std::string line = log.substr(at, end - at);
        const bool is_record = line.find_first_not_of("0123456789ABCDEF") == 8 && line[8] == ' ';
        EXPECT_TRUE(is_record || line.starts_with("\t")) << line;
        result.push_back(is_record ? line.substr(9) : line);
    }
    // The host's records and warnings are never gated.
    EXPECT_EQ(result.front(), "Initialized");
    EXPECT_THAT(result.at(1), MatchesRegex("\tLogFile='.*log.txt'"));
    EXPECT_THAT(result.at(2), MatchesRegex("\tRealLogFile='.*log.txt'"));
    EXPECT_THAT(result,
                IsSupersetOf({"S::RunPipes res=starting", "S::RunPipes res=started", "S::RunPipes res=shutdowning",
                              "S::RunNewThread res=ok c=1", "S::SetExternalReadySignal res=ok",
                              "S::WorkThread res=started", "S::WorkThread res=listen", "S::WorkThread res=connected",
                              "S::WorkThread res=disconnected", "S::WorkThread res=exited c=0"}));
    EXPECT_THAT(result, Contains(StartsWith("S::RunPipes res=shutdow ")));
    EXPECT_THAT(of("WARNING: ", result), ElementsAre("WARNING: Unknown PDB module", "WARNING: Too large table index"));
    EXPECT_EQ(result.back(), "Finished");
    return result;
}

void expect_steps(const std::string& scope, const records& all) {
    const records steps = of(scope + " ", all);
    ASSERT_FALSE(steps.empty()) << scope;
    EXPECT_EQ(steps.front(), scope + " res=started");
    EXPECT_EQ(steps.back(), scope + " res=finished");
}

TEST(LogOfARun, TellsOfCommands) {
    const records all = records_of_a_run(1);
    EXPECT_THAT(all, IsSupersetOf({"\t 0: [X] CoreBridge", "\t 4: [ ] PdbGt"}));
    EXPECT_THAT(of("PP::", all), IsEmpty());
    EXPECT_THAT(of("CP::CmdGetDocument", all),
                ElementsAre("CP::CmdGetDocument res=started", "CP::CmdGetDocument id=7 res=received",
                            "CP::CmdGetDocument id=7 res=executed", "CP::CmdGetDocument res=finished",
                            "CP::CmdGetDocument res=started", "CP::CmdGetDocument id=8 res=received",
                            "CP::CmdGetDocument id=8 res=executed", "CP::CmdGetDocument res=finished"));
    for (const char* scope :
         {"CP::ProcessCommands", "CP::CmdLoadModule", "CP::CmdUnloadModule", "CP::CmdGetMethodOffsets",
          "CP::CmdGetMethodRanges", "CP::CmdGetModuleSourceServerdata", "CP::CmdQuit"})
        expect_steps(scope, all);
}

TEST(LogOfARun, TellsOfTheEngine) {
    const records all = records_of_a_run(16);
    EXPECT_THAT(of("CP::", all), IsEmpty());
    EXPECT_THAT(of("PP::UnloadModule", all), ElementsAre("PP::UnloadModule pdbmid=1", "PP::UnloadModule pdbmid=2"));
    EXPECT_THAT(of("PP::Init", all),
                ElementsAre("PP::Init res=started", "PP::Init policy=fosr", "PP::Init res=finished"));
    EXPECT_THAT(
        all, IsSupersetOf(
                 {"\t 0: [ ] CoreBridge", "\t 4: [X] PdbGt", "PP::GetDocument pdbmid=1 pdbdid=3",
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
    EXPECT_THAT(all, Contains(StartsWith("PP::LoadModule res=no_pdb mvid={")));
    EXPECT_THAT(all, Contains(StartsWith("PP::LoadModule pdbmid=1 mvid={")));
    expect_steps("PP::Term", all);
}

}  // namespace
