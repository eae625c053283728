#include "common/shim_enum.h"

#include <gtest/gtest.h>

#include "diagnostics/exception_test_support.h"
#include "tests/support/com/fake_runtimes.h"

namespace qv {
namespace {

using testing::fake_machine;
using testing::fake_meta_host;

TEST(InstalledRuntimes, TheHighestVersionIsChosenAndFailuresLeaveNothing) {
    const std::wstring long_version = L"v00000000000000000000000000000000000004.0.30319";
    struct {
        std::vector<std::wstring> installed;
        std::string failing_call;
        std::wstring chosen;
        std::string message = {};
    } const cases[] = {
        {{L"", L"x4.0.30319"}, "", L""},
        {{L"v9.9.9", L"V10.1.0", L"v10.1.0", L"v10.0.9"}, "", L"V10.1.0"},
        {{long_version}, "", long_version},
        {{std::wstring(0x8000, L'v')}, "", L"", "Failed to get runtime version"},
        {{L"v4.0.30319"}, "Next", L"", "Can't enumerate module installed runtime interfaces"},
        {{L"v4.0.30319"}, "QueryInterface", L"", "Can't enumerate module installed runtime interfaces"},
    };
    for (const auto& c : cases) {
        fake_machine machine;
        machine.runtimes = c.installed;
        machine.results[c.failing_call] = E_FAIL;
        std::wstring chosen;
        const auto search = [&] {
            const com_hld<com::ICLRMetaHost> host(new fake_meta_host(machine));
            if (const auto runtime = shim::find_newest_runtime(host)) chosen = shim::get_version_string(runtime);
        };
        EXPECT_EQ(test::message_of(search), c.message) << c.failing_call;
        EXPECT_EQ(chosen, c.chosen);
        EXPECT_EQ(machine.live, 0);
    }
}

TEST(ComHolder, FailedQueriesHaveTheirTexts) {
    fake_machine machine;
    const com_hld<com::ICLRMetaHost> empty, host(new fake_meta_host(machine));
    using info = com::ICLRRuntimeInfo;
    EXPECT_EQ(test::message_of([&] { empty.query_nullable<info>(); }), "Null interface pointer");
    EXPECT_EQ(test::message_of([&] { host.query<info>(); }), "Failed to query interface");
    machine.results["QueryInterface"] = E_ACCESSDENIED;
    EXPECT_EQ(test::message_of([&] { host.query_nullable<info>(); }), "Failed to query nullable interface");
}

}  // namespace
}  // namespace qv
