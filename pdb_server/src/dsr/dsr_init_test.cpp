#include <gtest/gtest.h>

#include "diagnostics/exception_test_support.h"
#include "pdb_server/src/dsr/dsr_data.h"
#include "tests/support/com/fake_runtimes.h"
#include "tests/support/com/fake_symbols.h"

namespace qv::profiler::pdb_server {
namespace {

using testing::fake_binder;
using testing::fake_dispenser;
using testing::fake_machine;
using testing::fake_meta_host;
using testing::fake_module;

constexpr HRESULT class_not_registered = static_cast<HRESULT>(0x80040154);

class DsrInit : public ::testing::Test {
protected:
    com_services services() {
        com_services result;
        result.create_instance = [this](REFCLSID class_id, REFIID id, void** object) -> HRESULT {
            if (IsEqualGUID(class_id, com::clsid_symbol_binder)) {
                if (const HRESULT failure = module.result_of("create binder"); FAILED(failure)) return failure;
                return com_hld<IUnknown>(new fake_binder(module))->QueryInterface(id, object);
            }
            created_directly = IsEqualGUID(class_id, com::clsid_metadata_dispenser);
            if (const HRESULT failure = module.result_of("create dispenser"); FAILED(failure)) return failure;
            return com_hld<IUnknown>(new fake_dispenser(module))->QueryInterface(id, object);
        };
        if (has_host_library)
            result.clr_create_instance = [this](REFCLSID class_id, REFIID id, void** object) -> HRESULT {
                if (const HRESULT failure = module.result_of("metahost"); FAILED(failure)) return failure;
                if (!IsEqualGUID(class_id, com::clsid_clr_meta_host)) return E_INVALIDARG;
                return com_hld<IUnknown>(new fake_meta_host(machine))->QueryInterface(id, object);
            };
        return result;
    }

    // What loading a module raises.
    test::failure failure_of_load() {
        const auto data = dsr_init(services());
        return test::failure_of([&] { dsr_load_module(data, "C:\\m.dll", GUID{}, {}, 0); });
    }

    fake_module module;
    fake_machine machine;
    bool has_host_library = true;
    bool created_directly = false;
};

TEST_F(DsrInit, TheNewestRuntimeGivesTheDispenser) {
    const com_hld<IUnknown> dispenser(new fake_dispenser(module));
    machine.runtimes = {L"v2.0.50727", L"v4.0.30319"};
    machine.interface_of_runtime = dispenser.get();
    const auto data = dsr_init(services());
    EXPECT_EQ(data->failure, nullptr);
    EXPECT_EQ(data->dispenser.get(), dispenser.get());
    EXPECT_EQ(machine.asked_runtime, L"v4.0.30319");
    EXPECT_FALSE(created_directly);
    EXPECT_EQ(machine.live, 0);
}

TEST_F(DsrInit, WithoutAHostTheDispenserIsCreatedDirectly) {
    has_host_library = false;
    EXPECT_EQ(failure_of_load().message, "");
    EXPECT_TRUE(created_directly);

    has_host_library = true;
    created_directly = false;
    module.results["metahost"] = E_NOTIMPL;
    EXPECT_EQ(failure_of_load().message, "");
    EXPECT_TRUE(created_directly);
    EXPECT_EQ(module.live, 0);
}

// A machine without the services still serves portable PDBs: what is missing is told when a module needs it.
TEST_F(DsrInit, FailuresAreKeptForTheModulesThatNeedTheServices) {
    struct {
        bool has_host_library;
        const char* call;
        std::vector<std::wstring> runtimes;
        std::string message;
    } const cases[] = {
        {true, "create binder", {L"v4.0.30319"}, "Can't create symbol binder"},
        {true, "metahost", {L"v4.0.30319"}, "Can't get metahost"},
        {true, "EnumerateInstalledRuntimes", {L"v4.0.30319"}, "Can't enumerate installed runtimes"},
        {true, "", {}, "Runtime with metadata dispenser was not found"},
        {true, "", {L"4.0.30319"}, "Runtime with metadata dispenser was not found"},
        {true, "GetInterface", {L"v4.0.30319"}, "Can't get metadata dispemnser"},
        {false, "create dispenser", {}, "Can't create metadata dispenser"},
    };
    for (const auto& c : cases) {
        has_host_library = c.has_host_library;
        machine.runtimes = c.runtimes;
        module.results = machine.results = {{c.call, class_not_registered}};
        const auto failure = failure_of_load();
        EXPECT_EQ(failure.message, c.message);
        EXPECT_EQ(failure.source, "pdb_server/src/pdb_processor_dsr");
        EXPECT_EQ(module.live + machine.live, 0) << c.message;
    }
}

TEST_F(DsrInit, AFailureKeepsItsCodeForEveryLoad) {
    has_host_library = false;
    module.results["create binder"] = class_not_registered;
    const auto data = dsr_init(services());
    for (int i = 0; i < 2; ++i) {
        try {
            dsr_load_module(data, "C:\\m.dll", GUID{}, {}, 0);
            FAIL();
        } catch (const hresult_exception& error) {
            EXPECT_EQ(*error.find<errtag_hresult>(), class_not_registered);
        }
    }
}

TEST_F(DsrInit, ServicesThatGiveNothingAreNoCrash) {
    com_services nothing;
    nothing.create_instance = [](REFCLSID, REFIID, void** object) {
        *object = nullptr;
        return S_OK;
    };
    const auto data = dsr_init(nothing);
    EXPECT_EQ(test::message_of([&] { dsr_load_module(data, "C:\\m.dll", GUID{}, {}, 0); }), "Null interface pointer");
}

}  // namespace
}  // namespace qv::profiler::pdb_server
