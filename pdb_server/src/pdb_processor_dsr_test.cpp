// The classic backend over a machine and a symbol reader of the tests' own: what they lack, how they fail and how they
// lie. What a real reader answers is compared where real symbol files are.
#include "pdb_server/src/pdb_processor_dsr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostics/exception_test_support.h"
#include "pdb_server/src/dsr/dsr_data.h"
#include "tests/support/com/fake_runtimes.h"
#include "tests/support/com/fake_symbols.h"
#include "tests/support/files/log_of.h"

namespace qv::profiler::pdb_server {
namespace {

using namespace ::testing;
using namespace qv::testing;

constexpr HRESULT class_not_registered = static_cast<HRESULT>(0x80040154);
constexpr GUID mvid{0x12345678, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
constexpr GUID sha256{0x8829D00F, 0x11B8, 0x4213, {0x87, 0x8B, 0x77, 0x0E, 0x85, 0x97, 0xAC, 0x16}};
constexpr std::uint32_t method = 0x06000001;
constexpr const char* source = "pdb_server/src/pdb_processor_dsr";

using words = std::vector<std::uint32_t>;

class Dsr : public Test {
protected:
    Dsr() {
        module.documents = {{L"C:\\a.cs", sha256, {1, 2, 3}}, {L"C:\\b.cs", GUID{}, {}}, {L"C:\\a.cs", sha256, {9}}};
        module.methods[method] = {{0, 10, 0}, {3, 0xFEEFEE, 1}, {7, 20, 0}, {8, 30, 2}, {9, 31, std::nullopt}};
        machine.runtimes = {L"v2.0.50727", L"v4.0.30319"};
        machine.interface_of_runtime = dispenser.get();
    }
    ~Dsr() override {
        dispenser.reset();
        EXPECT_EQ(module.live + machine.live, 0);
    }

    template <class Object, class Script>
    HRESULT create(const char* call, Script& script, REFIID id, void** object) {
        if (const HRESULT failure = script.result_of(call); FAILED(failure)) return failure;
        return com_hld<IUnknown>(new Object(script))->QueryInterface(id, object);
    }

    std::shared_ptr<dsr_data> init() {
        com_services services;
        services.create_instance = [this](REFCLSID class_id, REFIID id, void** object) -> HRESULT {
            if (IsEqualGUID(class_id, com::clsid_symbol_binder))
                return create<fake_binder>("create binder", module, id, object);
            created_directly = IsEqualGUID(class_id, com::clsid_metadata_dispenser);
            return create<fake_dispenser>("create dispenser", module, id, object);
        };
        if (has_host_library)
            services.clr_create_instance = [this](REFCLSID class_id, REFIID id, void** object) -> HRESULT {
                if (!IsEqualGUID(class_id, com::clsid_clr_meta_host)) return E_INVALIDARG;
                return create<fake_meta_host>("metahost", machine, id, object);
            };
        services.task_mem_free = [this](void*) { ++module.freed; };
        return dsr_init(services);
    }

    std::shared_ptr<module_data> load(const search_path_list& paths = {}, const stop_check& stop = {}) {
        return dsr_load_module(init(), L"C:\\bin\\m.dll", mvid, paths, 0xFE, stop);
    }

    static words offsets_of(module_data& data, std::uint32_t token = method) {
        words offsets{99};
        data.get_method_offsets(token, offsets);
        return offsets;
    }

    static words documents_of(module_data& data, std::uint32_t token = method) {
        words documents{99}, lines{99}, columns{99}, end_lines{99}, end_columns{99};
        data.get_method_ranges(token, documents, lines, columns, end_lines, end_columns);
        for (const words& other : {lines, columns, end_lines, end_columns}) EXPECT_EQ(other.size(), documents.size());
        return documents;
    }

    fake_module module;
    fake_machine machine;
    com_hld<IUnknown> dispenser{new fake_dispenser(module)};
    bool has_host_library = true;
    bool created_directly = false;
    std::wstring url;
    GUID algorithm{};
    std::vector<std::uint8_t> bytes;
};

TEST_F(Dsr, TheNewestRuntimeOrTheSystemGivesTheDispenser) {
    EXPECT_TRUE(load());
    EXPECT_EQ(machine.asked_runtime, L"v4.0.30319");
    EXPECT_FALSE(created_directly);
    machine.results["metahost"] = E_NOTIMPL;
    EXPECT_TRUE(load());
    EXPECT_TRUE(created_directly);
    has_host_library = created_directly = false;
    EXPECT_TRUE(load());
    EXPECT_TRUE(created_directly);
}

// A machine without the services still serves portable PDBs: what is missing is told by every module that needs it.
TEST_F(Dsr, WhatThePlatformGoesWithoutIsKeptForTheLoads) {
    const struct {
        bool has_host_library;
        const char* call;
        std::vector<std::wstring> runtimes;
        std::string message;
    } cases[] = {
        {true, "create binder", {L"v4.0.30319"}, "Can't create symbol binder"},
        {true, "", {}, "Runtime with metadata dispenser was not found"},
        {true, "", {L"4.0.30319"}, "Runtime with metadata dispenser was not found"},
        {true, "GetInterface", {L"v4.0.30319"}, "Can't get metadata dispemnser"},
        {false, "create dispenser", {}, "Can't create metadata dispenser"},
    };
    for (const auto& c : cases) {
        has_host_library = c.has_host_library;
        machine.runtimes = c.runtimes;
        module.results = machine.results = {{c.call, class_not_registered}};
        const std::string text = log_of(0, [&] {
            const auto data = init();
            for (int i = 0; i < 2; ++i) {
                const auto failure = test::failure_of([&] { dsr_load_module(data, "C:\\m.dll", mvid, {}, 0); });
                EXPECT_EQ(failure.message, c.message);
                EXPECT_EQ(failure.source, source);
            }
        });
        const std::string record = "WARNING: " + c.message + (*c.call ? " (COM error 80040154" : "");
        EXPECT_THAT(text, HasSubstr(record));
        EXPECT_EQ(text.find(c.message), text.rfind(c.message)) << "once for each connection: " << text;
    }
}

TEST_F(Dsr, EveryOtherFailureIsTheConnections) {
    const struct {
        com_script& script;
        const char* call;
        HRESULT result;
        std::wstring runtime;
        std::string message;
    } cases[] = {
        {machine, "metahost", class_not_registered, L"v4.0.30319", "Can't get metahost"},
        {machine, "EnumerateInstalledRuntimes", E_FAIL, L"v4.0.30319", "Can't enumerate installed runtimes"},
        {machine, "GetVersionString", E_FAIL, L"v4.0.30319", "Failed to get runtime version"},
        {machine, "", S_OK, L"v4.0", "Too less version components"},
        {module, "create binder", E_OUTOFMEMORY, L"v4.0.30319", "Can't create symbol binder"},
        {machine, "GetInterface", E_OUTOFMEMORY, L"v4.0.30319", "Can't get metadata dispemnser"},
    };
    for (const auto& c : cases) {
        module.results.clear();
        machine.results.clear();
        c.script.results[c.call] = c.result;
        machine.runtimes = {c.runtime};
        EXPECT_EQ(test::message_of([&] { init(); }), c.message);
    }
    com_services services;
    services.create_instance = [](REFCLSID, REFIID, void**) -> HRESULT { throw std::bad_alloc(); };
    EXPECT_THROW(dsr_init(services), std::bad_alloc);
}

TEST_F(Dsr, TheReaderIsAskedAlongTheSearchPathUntilItFindsSymbols) {
    const search_path_list usual = {L"C:\\a", L"", L"srv*C:\\c*\\\\host\\store", L"b"};
    const auto loaded = load(usual);
    ASSERT_TRUE(loaded);
    EXPECT_TRUE(IsEqualGUID(loaded->mvid, mvid));
    EXPECT_THAT(module.search_paths, ElementsAre(L"C:\\a;;srv*C:\\c*\\\\host\\store;b"));
    EXPECT_EQ(module.opened_image, L"C:\\bin\\m.dll");
    EXPECT_EQ(module.searched_image, L"C:\\bin\\m.dll");
    EXPECT_EQ(module.policy, 0xFEu);
    EXPECT_TRUE(module.importer_was_given);

    const search_path_list many(2 * search_path_pieces::most_elements + 1, L"x");
    EXPECT_TRUE(load(many));
    EXPECT_EQ(module.search_paths.size(), 2u);
    module.results["GetReaderForFile2"] = E_FAIL;
    const std::string text = log_of(16, [&] { EXPECT_EQ(load(many), nullptr); });
    EXPECT_EQ(module.search_paths.size(), 5u);
    EXPECT_THAT(text, HasSubstr(" DSR::LoadModule res=no_sud mvid={12345678-0001-0002-0304-05060708090a}\r\n"));
    EXPECT_EQ(test::message_of([&] { load(many, [&] { return module.search_paths.size() == 6; }); }),
              "The server is stopping");
}

TEST_F(Dsr, LoadsThatFailSaySo) {
    module.results["GetReaderForFile2"] = S_FALSE;
    EXPECT_EQ(test::message_of([&] { load(); }), "Null interface pointer");
    module.results["OpenScope"] = static_cast<HRESULT>(0x8013110E);
    const auto failure = test::failure_of([&] { load(); });
    EXPECT_EQ(failure.message, "Can't open metadata scope");
    EXPECT_EQ(failure.source, source);
}

TEST_F(Dsr, OneUrlHasOneId) {
    const auto data = load();
    EXPECT_THAT(documents_of(*data), ElementsAre(1, 2, 1, 1, 0));
    EXPECT_EQ(module.read_urls, 3) << "once for each document object, however its points alternate with others";
    data->get_document(1, url, algorithm, bytes);
    EXPECT_EQ(url, L"C:\\a.cs");
    EXPECT_TRUE(IsEqualGUID(algorithm, sha256));
    EXPECT_THAT(bytes, ElementsAre(1, 2, 3)) << "of the first document with this URL";
    data->get_document(2, url, algorithm, bytes);
    EXPECT_TRUE(IsEqualGUID(algorithm, GUID{}));
    EXPECT_THAT(bytes, IsEmpty());
    EXPECT_EQ(test::message_of([&] { data->get_document(3, url, algorithm, bytes); }), "Unknown PDB document");
}

TEST_F(Dsr, AMethodThatTheReaderDoesNotGiveHasNoPoints) {
    const auto data = load();
    module.results["GetMethod"] = com::e_sym_destroyed;
    for (const std::uint32_t token : {method, method + 1}) {
        EXPECT_THAT(offsets_of(*data, token), IsEmpty());
        EXPECT_THAT(documents_of(*data, token), IsEmpty());
    }
    module.results["GetMethod"] = S_FALSE;
    EXPECT_EQ(test::message_of([&] { offsets_of(*data); }), "Null interface pointer");
}

TEST_F(Dsr, EveryFailingCallHasItsTextAndLeavesNothing) {
    module.source_server_data = {'S'};
    const struct {
        const char* call;
        std::string message;
    } cases[] = {
        {"GetSequencePointCount", "Can't get sequence point count"},
        {"GetSequencePoints", "Can't get sequence point count"},
        {"GetURL size", "Can't get document url"},
        {"GetURL", "Can't get document url"},
        {"GetCheckSumAlgorithmId", "Can't get document checksum algorithm id"},
        {"GetCheckSum size", "Can't get document checksum size"},
        {"GetCheckSum", "Can't get document checksum"},
        {"GetSourceServerData", "Can't get source server data"},
    };
    for (const auto& c : cases) {
        const auto data = load();
        module.results = {{c.call, E_ACCESSDENIED}};
        const auto failure = test::failure_of([&] {
            documents_of(*data);
            data->get_document(1, url, algorithm, bytes);
            data->get_source_server_data(bytes);
        });
        EXPECT_EQ(failure.message, c.message) << c.call;
        EXPECT_EQ(failure.source, source);
        module.results.clear();
        EXPECT_THAT(documents_of(*data), ElementsAre(1, 2, 1, 1, 0)) << c.call;
    }
    EXPECT_EQ(module.freed, 1) << "also what a failing call gave";
}

TEST_F(Dsr, CountsAreTakenForNoMoreThanWhatIsThere) {
    const auto data = load();
    const auto with_claim = [&](const char* call, ULONG32 count) -> module_data& {
        module.claims = {{call, count}};
        return *data;
    };
    EXPECT_THAT(offsets_of(with_claim("GetSequencePointCount", 2)), ElementsAre(0, 3));
    EXPECT_THAT(documents_of(with_claim("GetSequencePointCount", 2)), ElementsAre(1, 2));
    module.results["GetSequencePoints"] = E_FAIL;  // not called for nothing
    EXPECT_THAT(offsets_of(with_claim("GetSequencePointCount", 0)), IsEmpty());
    EXPECT_THAT(documents_of(with_claim("GetSequencePointCount", 0)), IsEmpty());
    module.results.clear();
    EXPECT_THAT(offsets_of(with_claim("GetSequencePointCount", 1000)), ElementsAre(0, 3, 7, 8, 9));
    EXPECT_THAT(offsets_of(with_claim("GetSequencePoints", 1)), ElementsAre(0));
    EXPECT_THAT(documents_of(with_claim("GetSequencePoints", 1)), ElementsAre(1));
    for (const ULONG32 nonsense : {0x100001u, 0xFFFFFFFFu})
        for (const auto& [call, message] : {std::pair{"GetSequencePointCount", "Can't get sequence point count"},
                                            std::pair{"GetURL size", "Can't get document url"},
                                            std::pair{"GetCheckSum size", "Can't get document checksum size"}})
            EXPECT_EQ(test::message_of([&, failing = call] {
                          documents_of(with_claim(failing, nonsense));
                          data->get_document(1, url, algorithm, bytes);
                      }),
                      message);
    with_claim("GetCheckSum size", 40).get_document(1, url, algorithm, bytes);
    EXPECT_THAT(bytes, ElementsAre(1, 2, 3));
    documents_of(with_claim("GetURL size", 40));
    data->get_document(1, url, algorithm, bytes);
    EXPECT_EQ(url, L"C:\\a.cs");

    module.claims.clear();
    module.documents[0] = {L"C:\\" + std::wstring(70000, L'x'), sha256, std::vector<BYTE>(5000, 7)};
    const auto other = load();
    documents_of(*other);
    other->get_document(1, url, algorithm, bytes);
    EXPECT_EQ(url, module.documents[0].url);
    EXPECT_EQ(bytes, module.documents[0].checksum);
}

TEST_F(Dsr, SourceServerDataIsCopiedAndGivenBack) {
    module.source_server_data = {'S', 'R', 'C'};
    const auto data = load();
    data->get_source_server_data(bytes);
    EXPECT_THAT(bytes, ElementsAre('S', 'R', 'C'));
    EXPECT_EQ(module.freed, 1);
    module.source_server_data.clear();
    module.claims["GetSourceServerData"] = 1000;
    data->get_source_server_data(bytes);
    EXPECT_THAT(bytes, IsEmpty()) << "a size without a block";
    bytes = {9};
    module.results["QueryInterface"] = E_NOINTERFACE;
    data->get_source_server_data(bytes);
    EXPECT_THAT(bytes, IsEmpty());
    EXPECT_EQ(module.freed, 1);
}

TEST_F(Dsr, TheEndClosesTheFileAndNeverFails) {
    const auto unload = [&] { load().reset(); };
    EXPECT_THAT(log_of(16, unload), AllOf(HasSubstr(" DSR::DestoryPdb res=finished\r\n"), Not(HasSubstr("WARNING"))));
    module.results["Destroy"] = E_FAIL;
    EXPECT_THAT(log_of(16, unload), HasSubstr(" DSR::DestoryPdb res=exited\r\n"));
    EXPECT_THAT(log_of(0, unload), ContainsRegex("WARNING: Can't unload PDB file .COM error 80004005, E_FAIL.*. "
                                                 "context=DSR::DestoryPdb\r\n"));
    EXPECT_EQ(module.destroyed, 3);
    auto data = load();
    module.results["QueryInterface"] = E_NOINTERFACE;
    data.reset();
    EXPECT_EQ(module.destroyed, 3);
}

}  // namespace
}  // namespace qv::profiler::pdb_server
