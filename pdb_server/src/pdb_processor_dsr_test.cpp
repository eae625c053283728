// The classic backend over a machine and a symbol reader of the tests' own: what they lack, how they fail and how they
// lie. What a real reader answers is compared where real symbol files are.
#include "pdb_server/src/pdb_processor_dsr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/com/metadata_import.h"
#include "common/com/symbol_interfaces.h"
#include "diagnostics/exception_test_support.h"
#include "pdb_server/src/dsr/dsr_data.h"
#include "tests/support/com/fake_runtimes.h"
#include "tests/support/files/log_of.h"

namespace qv::profiler::pdb_server {
namespace {

using namespace ::testing;
using namespace qv::testing;

constexpr HRESULT class_not_registered = static_cast<HRESULT>(0x80040154);
constexpr GUID mvid{0x12345678, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
constexpr GUID sha256{0x8829D00F, 0x11B8, 0x4213, {0x87, 0x8B, 0x77, 0x0E, 0x85, 0x97, 0xAC, 0x16}};

using words = point_values;

// A symbol reader that fails and lies; it has one method. Every call fills its outputs and then answers what the script
// says, so that a failing call may have given something. A success other than S_OK gives no object.
struct fake_module : fake_machine {
    struct document {
        std::wstring url;
        GUID algorithm{};
        std::vector<BYTE> checksum;
    };

    std::vector<document> documents;
    std::vector<std::size_t> points;  // the document of each; a null pointer for one that is not there
    std::vector<BYTE> source_server_data;
    std::map<std::string, ULONG32> claims;  // the counts that calls answer instead of the true ones

    std::vector<std::wstring> search_paths;  // that a reader was asked for
    int read_urls = 0, destroyed = 0, freed = 0;

    ULONG32 claim(const std::string& call, std::size_t size) const {
        const auto found = claims.find(call);
        return found == claims.end() ? static_cast<ULONG32>(size) : found->second;
    }

    // The contract of counted outputs; a call without a buffer asks for the size.
    template <class Value>
    HRESULT give(const std::string& call, const Value* source, std::size_t size, ULONG32 capacity, ULONG32* count,
                 Value* buffer) const {
        const std::string name = buffer == nullptr ? call + " size" : call;
        *count = claim(name, size);
        if (buffer != nullptr) std::copy_n(source, std::min<std::size_t>(size, capacity), buffer);
        return result_of(name);
    }
};

struct fake_document : fake_object<fake_module, com::ISymUnmanagedDocument> {
    fake_document(fake_module& module, std::size_t index) : fake_object(module), document_(module.documents[index]) {}

    HRESULT STDMETHODCALLTYPE GetURL(ULONG32 capacity, ULONG32* count, WCHAR* url) override {
        if (url != nullptr) ++script_.read_urls;
        return script_.give("GetURL", document_.url.c_str(), document_.url.size() + 1, capacity, count, url);
    }
    HRESULT STDMETHODCALLTYPE GetCheckSumAlgorithmId(GUID* algorithm) override {
        *algorithm = document_.algorithm;
        return script_.result_of("GetCheckSumAlgorithmId");
    }
    HRESULT STDMETHODCALLTYPE GetCheckSum(ULONG32 capacity, ULONG32* count, BYTE* checksum) override {
        const auto& bytes = document_.checksum;
        return script_.give("GetCheckSum", bytes.data(), bytes.size(), capacity, count, checksum);
    }

    const fake_module::document& document_;
};

struct fake_method : fake_object<fake_module, com::ISymUnmanagedMethod> {
    using fake_object::fake_object;

    HRESULT STDMETHODCALLTYPE GetSequencePointCount(ULONG32* count) override {
        *count = script_.claim("GetSequencePointCount", script_.points.size());
        return script_.result_of("GetSequencePointCount");
    }
    // One object for each document; the offsets count from 0, and there are no positions.
    HRESULT STDMETHODCALLTYPE GetSequencePoints(ULONG32 capacity, ULONG32* count, ULONG32* offsets,
                                                com::ISymUnmanagedDocument** documents, ULONG32*, ULONG32*, ULONG32*,
                                                ULONG32*) override {
        std::map<std::size_t, com_hld<fake_document>> objects;
        for (ULONG32 i = 0; i < std::min<std::size_t>(capacity, script_.points.size()); ++i) {
            offsets[i] = i;
            const std::size_t document = script_.points[i];
            if (documents == nullptr || document >= script_.documents.size()) continue;
            auto& object = objects[document];
            if (!object) object = com_hld<fake_document>(new fake_document(script_, document));
            documents[i] = com_hld<fake_document>(object).release();
        }
        *count = script_.claim("GetSequencePoints", script_.points.size());
        return script_.result_of("GetSequencePoints");
    }
};

struct fake_reader : fake_object<fake_module, com::ISymUnmanagedReader, com::ISymUnmanagedSourceServerModule,
                                 com::ISymUnmanagedDispose> {
    using fake_object::fake_object;

    HRESULT STDMETHODCALLTYPE GetMethod(com::token, com::ISymUnmanagedMethod** result) override {
        const HRESULT answer = script_.result_of("GetMethod");
        if (answer == S_OK) *result = new fake_method(script_);
        return answer;
    }
    HRESULT STDMETHODCALLTYPE GetSourceServerData(ULONG* size, BYTE** data) override {
        *size = script_.claim("GetSourceServerData", script_.source_server_data.size());
        *data = script_.source_server_data.empty() ? nullptr : script_.source_server_data.data();
        return script_.result_of("GetSourceServerData");
    }
    HRESULT STDMETHODCALLTYPE Destroy() override {
        ++script_.destroyed;
        return script_.result_of("Destroy");
    }
};

struct fake_dispenser : fake_object<fake_module, com::IMetaDataDispenser> {
    using fake_object::fake_object;

    HRESULT STDMETHODCALLTYPE OpenScope(const WCHAR*, DWORD flags, REFIID id, IUnknown** scope) override {
        if (flags != 0 || !IsEqualGUID(id, com::iid_of<com::IMetaDataImport>)) return E_INVALIDARG;
        *scope = new fake_object<fake_module, IUnknown>(script_);
        return script_.result_of("OpenScope");
    }
};

struct fake_binder : fake_object<fake_module, com::ISymUnmanagedBinder2> {
    using fake_object::fake_object;

    HRESULT STDMETHODCALLTYPE GetReaderForFile2(IUnknown* importer, const WCHAR*, const WCHAR* search_path, ULONG32,
                                                com::ISymUnmanagedReader** reader) override {
        if (importer == nullptr) return E_POINTER;
        script_.search_paths.emplace_back(search_path);
        const HRESULT result = script_.result_of("GetReaderForFile2");
        if (result == S_OK) *reader = new fake_reader(script_);
        return result;
    }
};

class Dsr : public Test {
protected:
    Dsr() {
        const std::wstring long_name = L"C:\\" + std::wstring(70000, L'a');
        module.documents = {
            {long_name, sha256, std::vector<BYTE>(5000, 7)}, {L"C:\\b.cs", GUID{}, {}}, {long_name, sha256, {9}}};
        module.points = {0, 1, 0, 2, 99};
        module.runtimes = {L"v2.0.50727", L"v4.0.30319"};
        module.interface_of_runtime = dispenser.get();
    }
    ~Dsr() override {
        dispenser.reset();
        EXPECT_EQ(module.live, 0);
    }

    template <class Object>
    HRESULT create(const char* call, REFIID id, void** object) {
        if (const HRESULT failure = module.result_of(call); FAILED(failure)) return failure;
        return com_hld<IUnknown>(new Object(module))->QueryInterface(id, object);
    }

    std::shared_ptr<dsr_data> init() {
        com_services services;
        services.create_instance = [this](REFCLSID class_id, REFIID id, void** object) {
            return IsEqualGUID(class_id, com::clsid_symbol_binder) ? create<fake_binder>("create binder", id, object)
                                                                   : create<fake_dispenser>("create", id, object);
        };
        if (!module.results.contains("no host library"))
            services.clr_create_instance = [this](REFCLSID class_id, REFIID id, void** object) -> HRESULT {
                if (!IsEqualGUID(class_id, com::clsid_clr_meta_host)) return E_INVALIDARG;
                return create<fake_meta_host>("metahost", id, object);
            };
        services.task_mem_free = [this](void*) { ++module.freed; };
        return dsr_init(services);
    }

    std::shared_ptr<module_data> load(const search_path_list& paths = {}, const stop_check& stop = {}) {
        return dsr_load_module(init(), L"C:\\bin\\m.dll", mvid, paths, 0xFE, stop);
    }

    static words offsets_of(module_data& data) {
        words offsets{99};
        data.get_method_offsets(0x06000001, offsets);
        return offsets;
    }

    static words documents_of(module_data& data) {
        words documents{99}, lines{99}, columns{99}, end_lines{99}, end_columns{99};
        data.get_method_ranges(0x06000001, documents, lines, columns, end_lines, end_columns);
        for (const words& other : {lines, columns, end_lines, end_columns}) EXPECT_EQ(other.size(), documents.size());
        return documents;
    }

    fake_module module;
    com_hld<IUnknown> dispenser{new fake_dispenser(module)};
    std::wstring url;
    GUID algorithm{};
    std::vector<std::uint8_t> bytes;
};

// A machine without the services still serves portable PDBs: what is missing is told by every module that needs it.
// Every other failure is the connection's.
TEST_F(Dsr, WhatThePlatformGoesWithoutIsKeptForTheLoads) {
    const struct {
        bool kept;
        std::map<std::string, HRESULT> results;
        std::vector<std::wstring> runtimes;
        std::string message;
    } cases[] = {
        {true, {{"create binder", class_not_registered}}, {L"v4.0.30319"}, "Can't create symbol binder"},
        {true, {}, {}, "Runtime with metadata dispenser was not found"},
        {true, {{"GetInterface", class_not_registered}}, {L"v4.0.30319"}, "Can't get metadata dispemnser"},
        {true, {{"no host library", E_FAIL}, {"create", E_FAIL}}, {}, "Can't create metadata dispenser"},
        {true, {{"metahost", E_NOTIMPL}, {"create", E_FAIL}}, {}, "Can't create metadata dispenser"},
        {false, {{"metahost", class_not_registered}}, {L"v4.0.30319"}, "Can't get metahost"},
        {false, {}, {L"v4.0"}, "Too less version components"},
        {false, {{"create binder", E_OUTOFMEMORY}}, {L"v4.0.30319"}, "Can't create symbol binder"},
        {false, {{"GetInterface", E_OUTOFMEMORY}}, {L"v4.0.30319"}, "Can't get metadata dispemnser"},
    };
    for (const auto& c : cases) {
        module.runtimes = c.runtimes;
        module.results = c.results;
        const std::string text = log_of(0, [&] {
            std::shared_ptr<dsr_data> data;
            EXPECT_EQ(test::message_of([&] { data = init(); }), c.kept ? "" : c.message);
            for (int i = 0; i < 2 && data; ++i)
                EXPECT_EQ(test::message_of([&] { dsr_load_module(data, "C:\\m.dll", mvid, {}, 0); }), c.message);
        });
        const std::string record = "WARNING: " + c.message;
        EXPECT_EQ(text.find(record) != std::string::npos, c.kept) << text;
        EXPECT_EQ(text.find(record), text.rfind(record)) << "once for each connection: " << text;
    }
}

TEST_F(Dsr, TheReaderIsAskedAlongTheSearchPathUntilItFindsSymbols) {
    module.results["create"] = E_FAIL;  // the runtime has a dispenser
    const search_path_list many(2 * search_path_pieces::most_elements + 1, L"x");
    const auto loaded = load(many);
    ASSERT_TRUE(loaded);
    EXPECT_TRUE(IsEqualGUID(loaded->mvid, mvid));
    EXPECT_EQ(module.asked_runtime, L"v4.0.30319");
    EXPECT_EQ(module.search_paths.size(), 1u);
    module.results["GetReaderForFile2"] = E_FAIL;
    const std::string text = log_of(16, [&] { EXPECT_EQ(load(many), nullptr); });
    EXPECT_EQ(module.search_paths.size(), 4u);
    EXPECT_THAT(text, HasSubstr(" DSR::LoadModule res=no_sud mvid={12345678-0001-0002-0304-05060708090a}\r\n"));
    EXPECT_EQ(test::message_of([&] { load(many, [&] { return module.search_paths.size() == 5; }); }),
              "The server is stopping");
}

TEST_F(Dsr, OneUrlHasOneId) {
    const auto data = load();
    EXPECT_THAT(documents_of(*data), ElementsAre(1, 2, 1, 1, 0));
    EXPECT_EQ(module.read_urls, 3) << "once for each document object, however its points alternate with others";
    data->get_document(1, url, algorithm, bytes);
    EXPECT_EQ(url, module.documents[0].url);
    EXPECT_TRUE(IsEqualGUID(algorithm, sha256));
    EXPECT_EQ(bytes, module.documents[0].checksum) << "of the first document with this URL";
    EXPECT_EQ(test::message_of([&] { data->get_document(3, url, algorithm, bytes); }), "Unknown PDB document");
}

TEST_F(Dsr, EveryFailingCallHasItsTextAndLeavesNothing) {
    module.source_server_data = {'S'};
    const struct {
        const char* call;
        HRESULT result;
        std::string message;
    } cases[] = {
        {"OpenScope", E_FAIL, "Can't open metadata scope"},
        {"GetReaderForFile2", S_FALSE, "Null interface pointer"},
        {"GetMethod", S_FALSE, "Null interface pointer"},
        {"GetMethod", static_cast<HRESULT>(0x806D0004), "Can't get sequence point count"},
        {"GetSequencePointCount", E_FAIL, "Can't get sequence point count"},
        {"GetSequencePoints", E_FAIL, "Can't get sequence point count"},
        {"GetURL size", E_FAIL, "Can't get document url"},
        {"GetURL", E_FAIL, "Can't get document url"},
        {"GetCheckSumAlgorithmId", E_FAIL, "Can't get document checksum algorithm id"},
        {"GetCheckSum size", E_FAIL, "Can't get document checksum size"},
        {"GetCheckSum", E_FAIL, "Can't get document checksum"},
        {"GetSourceServerData", E_FAIL, "Can't get source server data"},
    };
    for (const auto& c : cases) {
        const auto data = load();
        module.results = {{c.call, c.result}};
        const auto failure = test::failure_of([&] {
            load();
            documents_of(*data);
            data->get_document(1, url, algorithm, bytes);
            data->get_source_server_data(bytes);
        });
        EXPECT_EQ(failure.message, c.message) << c.call;
        EXPECT_EQ(failure.source == "pdb_server/src/pdb_processor_dsr", FAILED(c.result)) << failure.source;
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
    EXPECT_THAT(offsets_of(with_claim("GetSequencePointCount", 2)), ElementsAre(0, 1));
    EXPECT_THAT(documents_of(with_claim("GetSequencePointCount", 2)), ElementsAre(1, 2));
    module.results["GetSequencePoints"] = E_FAIL;  // not called for nothing
    EXPECT_THAT(offsets_of(with_claim("GetSequencePointCount", 0)), IsEmpty());
    EXPECT_THAT(documents_of(with_claim("GetSequencePointCount", 0)), IsEmpty());
    module.results.clear();
    EXPECT_THAT(offsets_of(with_claim("GetSequencePointCount", 1000)), ElementsAre(0, 1, 2, 3, 4));
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
    with_claim("GetCheckSum size", 6000).get_document(1, url, algorithm, bytes);
    EXPECT_EQ(bytes, module.documents[0].checksum);
    documents_of(with_claim("GetURL size", 80000));
    data->get_document(1, url, algorithm, bytes);
    EXPECT_EQ(url, module.documents[0].url);
    with_claim("GetSourceServerData", 1000).get_source_server_data(bytes);
    EXPECT_THAT(bytes, IsEmpty()) << "a size without a block";
}

TEST_F(Dsr, TheEndClosesTheFileAndNeverFails) {
    auto data = load();
    module.results["Destroy"] = E_FAIL;
    const std::string text = log_of(16, [&] { data.reset(); });
    EXPECT_THAT(text, HasSubstr(" DSR::DestoryPdb res=exited\r\n"));
    EXPECT_THAT(text, HasSubstr("WARNING: Can't unload PDB file (COM error 80004005, E_FAIL"));
    EXPECT_THAT(text, HasSubstr(" context=DSR::DestoryPdb\r\n"));
    EXPECT_EQ(module.destroyed, 1);
}

TEST_F(Dsr, WhatTheReaderDoesNotHaveIsEmpty) {
    module.source_server_data = {'S'};
    bytes = {9};
    const auto data = load();
    module.results = {{"GetMethod", com::e_sym_destroyed}, {"QueryInterface", E_NOINTERFACE}};
    EXPECT_THAT(offsets_of(*data), IsEmpty());
    EXPECT_THAT(documents_of(*data), IsEmpty());
    data->get_source_server_data(bytes);
    EXPECT_THAT(bytes, IsEmpty());
}

}  // namespace
}  // namespace qv::profiler::pdb_server
