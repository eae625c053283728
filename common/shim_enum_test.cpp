#include "common/shim_enum.h"

#include <gtest/gtest.h>

#include "diagnostics/exception_test_support.h"
#include "tests/support/com/fake_runtimes.h"

namespace qv {
namespace {

using testing::fake_machine;
using testing::fake_meta_host;

std::wstring newest_of(fake_machine& machine) {
    const com_hld<com::ICLRMetaHost> host(new fake_meta_host(machine));
    const auto runtime = shim::find_newest_runtime(host);
    return runtime ? shim::get_version_string(runtime) : L"";
}

TEST(InstalledRuntimes, TheHighestVersionIsChosen) {
    struct {
        std::vector<std::wstring> installed;
        std::wstring chosen;
    } const cases[] = {
        {{}, L""},
        {{L"4.0.30319", L"", L"x4.0.30319"}, L""},
        {{L"v2.0.50727", L"V4.0.30319", L"v4.0.30319"}, L"V4.0.30319"},
        {{L"v1.0.3705", L"v1.1.4322"}, L"v1.1.4322"},
        {{L"v10.0.0", L"v9.9.9"}, L"v10.0.0"},
        {{L"v00000000000000000000000000000000000004.0.30319"}, L"v00000000000000000000000000000000000004.0.30319"},
    };
    for (const auto& c : cases) {
        fake_machine machine;
        machine.runtimes = c.installed;
        EXPECT_EQ(newest_of(machine), c.chosen);
        EXPECT_EQ(machine.live, 0);
    }
}

TEST(InstalledRuntimes, FailuresHaveTheirTextsAndLeaveNothing) {
    struct {
        const char* call;
        std::wstring version;
        std::string message;
    } const cases[] = {
        {"EnumerateInstalledRuntimes", L"v4.0.30319", "Can't enumerate installed runtimes"},
        {"Next", L"v4.0.30319", "Can't enumerate module installed runtime interfaces"},
        {"QueryInterface", L"v4.0.30319", "Can't enumerate module installed runtime interfaces"},
        {"GetVersionString", L"v4.0.30319", "Failed to get runtime version"},
        {"", std::wstring(0x8000, L'v'), "Failed to get runtime version"},
        {"", L"v4.0", "Too less version components"},
        {"", L"v4.0.x", "invalid stoul argument"},
    };
    for (const auto& c : cases) {
        fake_machine machine;
        machine.runtimes = {c.version};
        machine.results[c.call] = E_FAIL;
        EXPECT_EQ(test::message_of([&] { newest_of(machine); }), c.message) << c.call;
        EXPECT_EQ(machine.live, 0) << c.call;
    }
}

TEST(ComHolder, EmptyOnesAndFailedQueriesHaveTheirTexts) {
    fake_machine machine;
    const com_hld<com::ICLRMetaHost> empty, host(new fake_meta_host(machine));
    using info = com::ICLRRuntimeInfo;
    EXPECT_EQ(test::message_of([&] { empty->GetRuntime(); }), "Null interface pointer");
    EXPECT_EQ(test::message_of([&] { empty.query_nullable<info>(); }), "Null interface pointer");
    EXPECT_EQ(test::message_of([&] { host.query<info>(); }), "Failed to query interface");
    EXPECT_FALSE(host.query_nullable<info>());
    machine.results["QueryInterface"] = E_ACCESSDENIED;
    EXPECT_EQ(test::message_of([&] { host.query_nullable<info>(); }), "Failed to query nullable interface");
}

}  // namespace
}  // namespace qv
