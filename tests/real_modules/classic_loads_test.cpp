// What many loads of a classic module leave behind in the server.
#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>

#include "pdb_client/library/pipe_connection.h"
#include "pdb_client/library/session.h"
#include "tests/support/pdb_writer/sample_module.h"
#include "tests/support/server/server_process.h"
#include "tests/support/server/symbol_binder.h"

namespace qv::testing {
namespace {

namespace client = profiler::pdb_client;

TEST(ClassicLoads, LeaveNothingBehind) {
    if (!has_symbol_binder()) GTEST_SKIP() << "no reader of classic PDB files is registered";
    const sample_module module;
    server_process server;
    client::pipe_connection pipe(server.pipe_id(), {std::chrono::minutes(1), std::chrono::minutes(1)});
    client::session session(pipe, {});
    const auto cycle = [&] {
        const auto id = session.load_module(module.image.native(), sample_module::mvid);
        ASSERT_TRUE(id.ok()) << id.error();
        ASSERT_NE(id.value(), 0u);
        EXPECT_EQ(session.get_method_ranges(id.value(), 0x06000001).value().size(), 4u);
        EXPECT_TRUE(session.unload_module(id.value()).ok());
    };
    // The heap grows by large steps at times of its own, so no amount tells. A leak of a few hundred bytes makes every
    // round grow; without one some round soon adds nothing.
    constexpr int rounds = 10, loads = 500;
    for (int i = 0; i < 50; ++i) cycle();
    const DWORD handles = server.holdings().handles;
    bool level = false;
    for (int round = 0; round < rounds && !level && !HasFailure(); ++round) {
        const SIZE_T before = server.holdings().memory;
        for (int i = 0; i < loads && !HasFailure(); ++i) cycle();
        level = server.holdings().memory <= before;
    }
    EXPECT_TRUE(level) << "every round of " << loads << " loads has grown the server";
    EXPECT_EQ(server.holdings().handles, handles);

    // An unloaded module's file belongs to the builds again.
    EXPECT_TRUE(boost::filesystem::remove(module.pdb));
}

}  // namespace
}  // namespace qv::testing
