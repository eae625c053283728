// The classic backend over a machine and a symbol reader of the tests' own: what they lack, how they fail and how they
// lie. What a real reader answers is compared where real symbol files are.
#include "pdb_server/src/pdb_processor_dsr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "diagnostics/exception_test_support.h"
#include "pdb_server/src/dsr/dsr_data.h"
#include "qv/diagnostics/log.h"
#include "tests/support/com/fake_runtimes.h"
#include "tests/support/com/fake_symbols.h"
#include "tests/support/files/test_files.h"

namespace qv::profiler::pdb_server {
namespace {

using testing::com_script;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using testing::fake_binder;
using testing::fake_dispenser;
using testing::fake_machine;
using testing::fake_meta_host;
using testing::fake_module;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr HRESULT class_not_registered = static_cast<HRESULT>(0x80040154);
constexpr GUID mvid{0x12345678, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
constexpr GUID sha256{0x8829D00F, 0x11B8, 0x4213, {0x87, 0x8B, 0x77, 0x0E, 0x85, 0x97, 0xAC, 0x16}};
constexpr std::uint32_t method = 0x06000001;
constexpr const char* source = "pdb_server/src/pdb_processor_dsr";

struct ranges {
    std::vector<std::uint32_t> documents, lines, columns, end_lines, end_columns;
};

class Dsr : public ::testing::Test {
protected:
    Dsr() {
        module.documents = {{L"C:\\a.cs", sha256, {1, 2, 3}}, {L"C:\\b.cs", GUID{}, {}}, {L"C:\\a.cs", sha256, {9}}};
        module.methods[method] = {{0, 10, 1, 10, 5, 0},
                                  {3, 0xFEEFEE, 0, 0xFEEFEE, 0, 1},
                                  {7, 20, 9, 19, 2, 0},
                                  {8, 30, 1, 30, 2, 2},
                                  {9, 31, 1, 31, 2, std::nullopt}};
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

    static std::vector<std::uint32_t> offsets_of(module_data& data, std::uint32_t token = method) {
        std::vector<std::uint32_t> result{99};
        data.get_method_offsets(token, result);
        return result;
    }

    static ranges ranges_of(module_data& data, std::uint32_t token = method) {
        ranges result{{99}, {99}, {99}, {99}, {99}};
        data.get_method_ranges(token, result.documents, result.lines, result.columns, result.end_lines,
                               result.end_columns);
        return result;
    }

    // What the log says while `action` runs.
    template <class Action>
    static std::string log_of(std::uint16_t mask, Action&& action) {
        const testing::temporary_directory directory;
        const auto file = directory.path() / "server.log";
        log::Logger& logger = log::Logger::instance();
        logger.open(file);
        logger.set_components(mask);
        action();
        logger.close();
        std::ifstream in(file.string(), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
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

TEST_F(Dsr, PointsComeAsTheyAreAndOneUrlHasOneId) {
    const auto data = load();
    EXPECT_THAT(offsets_of(*data), ElementsAre(0, 3, 7, 8, 9));
    const ranges found = ranges_of(*data);
    EXPECT_THAT(found.documents, ElementsAre(1, 2, 1, 1, 0));
    EXPECT_THAT(found.lines, ElementsAre(10, 0xFEEFEE, 20, 30, 31));
    EXPECT_THAT(found.columns, ElementsAre(1, 0, 9, 1, 1));
    EXPECT_THAT(found.end_lines, ElementsAre(10, 0xFEEFEE, 19, 30, 31));
    EXPECT_THAT(found.end_columns, ElementsAre(5, 0, 2, 2, 2));
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
        EXPECT_THAT(ranges_of(*data, token).end_columns, IsEmpty());
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
            ranges_of(*data);
            data->get_document(1, url, algorithm, bytes);
            data->get_source_server_data(bytes);
        });
        EXPECT_EQ(failure.message, c.message) << c.call;
        EXPECT_EQ(failure.source, source);
        module.results.clear();
        EXPECT_THAT(ranges_of(*data).documents, ElementsAre(1, 2, 1, 1, 0)) << c.call;
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
    EXPECT_THAT(ranges_of(with_claim("GetSequencePointCount", 2)).lines, ElementsAre(10, 0xFEEFEE));
    EXPECT_THAT(offsets_of(with_claim("GetSequencePointCount", 0)), IsEmpty());
    EXPECT_THAT(ranges_of(with_claim("GetSequencePointCount", 0)).documents, IsEmpty());
    EXPECT_THAT(offsets_of(with_claim("GetSequencePointCount", 1000)), ElementsAre(0, 3, 7, 8, 9));
    EXPECT_THAT(offsets_of(with_claim("GetSequencePoints", 1)), ElementsAre(0));
    EXPECT_THAT(ranges_of(with_claim("GetSequencePoints", 1)).documents, ElementsAre(1));
    for (const ULONG32 nonsense : {0x100001u, 0xFFFFFFFFu}) {
        EXPECT_EQ(test::message_of([&] { offsets_of(with_claim("GetSequencePointCount", nonsense)); }),
                  "Can't get sequence point count");
        EXPECT_EQ(test::message_of([&] { ranges_of(with_claim("GetURL size", nonsense)); }), "Can't get document url");
        EXPECT_EQ(
            test::message_of([&] { with_claim("GetCheckSum size", nonsense).get_document(1, url, algorithm, bytes); }),
            "Can't get document checksum size");
    }
    with_claim("GetCheckSum size", 40).get_document(1, url, algorithm, bytes);
    EXPECT_THAT(bytes, ElementsAre(1, 2, 3));
    ranges_of(with_claim("GetURL size", 40));
    data->get_document(1, url, algorithm, bytes);
    EXPECT_EQ(url, L"C:\\a.cs");

    module.claims.clear();
    module.documents[0] = {L"C:\\" + std::wstring(70000, L'x'), sha256, std::vector<BYTE>(5000, 7)};
    const auto other = load();
    ranges_of(*other);
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
    module.is_bare = true;
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
    module.is_bare = true;
    unload();
    EXPECT_EQ(module.destroyed, 3);
}

}  // namespace
}  // namespace qv::profiler::pdb_server
