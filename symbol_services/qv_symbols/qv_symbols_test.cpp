#include <gmock/gmock.h>
#include <windows.h>
// after <windows.h>
#include <psapi.h>

#include <boost/filesystem/operations.hpp>
#include <functional>
#include <vector>

#include "symbol_services/qv_symbols/library_test_support.h"
#include "tests/support/builders/metadata_builder.h"
#include "tests/support/builders/pe_builder.h"

namespace qv::symbols {
namespace {

using ::testing::ElementsAre;

constexpr HRESULT pdb_not_found = static_cast<HRESULT>(0x806D0005);
constexpr HRESULT pdb_of_another_age = static_cast<HRESULT>(0x806D0007);
constexpr HRESULT pdb_not_there = static_cast<HRESULT>(0x806D0014);
constexpr ULONG32 policy = com::allow_original_path_access | com::allow_reference_path_access;
constexpr com::token first_method = 0x06000001;
constexpr ULONG32 hidden = 0xFEEFEE;

class SymbolLibrary : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_NE(library(), nullptr); }

    // No object of a test is left over.
    ~SymbolLibrary() override {
        dispenser.reset();
        binder.reset();
        EXPECT_EQ(call("DllCanUnloadNow"), S_OK);
    }

    HRESULT open(const sample_module& module, com_hld<com::ISymUnmanagedReader>& reader,
                 const wchar_t* search_path = L"", ULONG32 with_policy = policy) {
        const auto scope = open_scope(*dispenser.get(), module.image);
        return binder->GetReaderForFile2(scope.get(), module.image.c_str(), search_path, with_policy, reader.put());
    }

    com_hld<com::ISymUnmanagedReader> open(const sample_module& module) {
        com_hld<com::ISymUnmanagedReader> reader;
        EXPECT_EQ(open(module, reader), S_OK);
        return reader;
    }

    static com_hld<com::ISymUnmanagedMethod> method(const com_hld<com::ISymUnmanagedReader>& reader, com::token token) {
        com_hld<com::ISymUnmanagedMethod> found;
        EXPECT_EQ(reader->GetMethod(token, found.put()), S_OK);
        return found;
    }

    static com_hld<com::ISymUnmanagedDocument> document(const com_hld<com::ISymUnmanagedReader>& reader,
                                                        std::wstring url) {
        com_hld<com::ISymUnmanagedDocument> found;
        EXPECT_EQ(reader->GetDocument(url.data(), GUID{}, GUID{}, GUID{}, found.put()), S_OK);
        return found;
    }

    com_hld<com::IMetaDataDispenser> dispenser = create<com::IMetaDataDispenser>(com::clsid_metadata_dispenser);
    com_hld<com::ISymUnmanagedBinder2> binder = create<com::ISymUnmanagedBinder2>(com::clsid_symbol_binder);
};

TEST_F(SymbolLibrary, FactoriesAnswerByTheRulesOfCom) {
    void* object = this;
    EXPECT_EQ(get_class_object(com::clsid_clr_meta_host, com::iid_of<IClassFactory>, &object),
              CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(get_class_object(com::clsid_symbol_binder, com::iid_of<com::ISymUnmanagedReader>, &object),
              E_NOINTERFACE);
    EXPECT_EQ(get_class_object(com::clsid_symbol_binder, com::iid_of<IClassFactory>, nullptr), E_POINTER);
    com_hld<IClassFactory> factory;
    ASSERT_EQ(get_class_object(com::clsid_symbol_binder, com::iid_of<IClassFactory>, factory.put_void()), S_OK);
    EXPECT_EQ(factory->CreateInstance(binder.get(), com::iid_of<IUnknown>, &object), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(factory->CreateInstance(nullptr, com::iid_of<com::IMetaDataDispenser>, &object), E_NOINTERFACE);
    EXPECT_EQ(factory->CreateInstance(nullptr, com::iid_of<IUnknown>, nullptr), E_POINTER);
    EXPECT_TRUE(binder.query_nullable<com::ISymUnmanagedBinder>());
    EXPECT_EQ(binder.query<IUnknown>().get(), binder.query<com::ISymUnmanagedBinder>().query<IUnknown>().get());
}

TEST_F(SymbolLibrary, ScopesTellNameAndMvid) {
    const sample_module module;
    const auto scope = open_scope(*dispenser.get(), module.image).query<com::IMetaDataImport>();
    WCHAR name[32] = {};
    ULONG count = 0;
    GUID mvid{};
    EXPECT_EQ(scope->GetScopeProps(name, 32, &count, &mvid), S_OK);
    EXPECT_STREQ(name, L"Module.dll");
    EXPECT_EQ(count, 11u);
    EXPECT_TRUE(IsEqualGUID(mvid, sample_module::mvid));
    EXPECT_EQ(scope->GetScopeProps(name, 4, &count, nullptr), S_OK);
    EXPECT_STREQ(name, L"Mod");
    EXPECT_EQ(scope->IsGlobal(), E_NOTIMPL);
}

TEST_F(SymbolLibrary, ImagesThatAreNoneAreRefused) {
    const sample_module module;
    const auto text = module.directory.write("text.dll", "no image");
    const auto absent = module.directory.path() / "absent.dll";
    const auto open = [&](const wchar_t* file, DWORD flags) {
        com_hld<IUnknown> scope;
        return dispenser->OpenScope(file, flags, com::iid_of<com::IMetaDataImport>, scope.put());
    };
    EXPECT_EQ(open(absent.c_str(), 0), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_TRUE(FAILED(open(text.c_str(), 0)));
    EXPECT_EQ(open(nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(open(std::wstring(40000, L'x').c_str(), 0), E_INVALIDARG);
    EXPECT_EQ(open(module.image.c_str(), 1), E_NOTIMPL);
    EXPECT_EQ(dispenser->OpenScope(module.image.c_str(), 0, com::iid_of<com::IMetaDataImport>, nullptr), E_POINTER);
}

TEST_F(SymbolLibrary, MethodsGiveTheirPoints) {
    const sample_module module;
    const auto reader = open(module);
    const auto found = method(reader, first_method);
    ULONG32 count = 0;
    EXPECT_EQ(found->GetSequencePointCount(&count), S_OK);
    ASSERT_EQ(count, 4u);
    std::vector<ULONG32> offsets(count), lines(count), columns(count), end_lines(count), end_columns(count);
    std::vector<com::ISymUnmanagedDocument*> documents(count);
    EXPECT_EQ(found->GetSequencePoints(count, &count, offsets.data(), documents.data(), lines.data(), columns.data(),
                                       end_lines.data(), end_columns.data()),
              S_OK);
    EXPECT_EQ(count, 4u);
    EXPECT_THAT(offsets, ElementsAre(0, 1, 7, 9));
    EXPECT_THAT(lines, ElementsAre(10, 11, hidden, 13));
    EXPECT_THAT(columns, ElementsAre(5, 9, 0, 5));
    EXPECT_THAT(end_lines, ElementsAre(10, 12, hidden, 13));
    EXPECT_THAT(end_columns, ElementsAre(6, 20, 0, 6));
    for (auto* given : documents) {
        ASSERT_NE(given, nullptr);
        given->Release();
    }
    EXPECT_EQ(found->GetSequencePoints(2, &count, offsets.data(), nullptr, nullptr, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(found->GetSequencePoints(2, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), E_POINTER);

    ULONG32 first_and_last[2] = {};
    BOOL has_source = FALSE;
    EXPECT_EQ(found->GetSourceStartEnd(nullptr, first_and_last, nullptr, &has_source), S_OK);
    EXPECT_THAT(first_and_last, ElementsAre(10, 13));
    com_hld<com::ISymUnmanagedMethod> none;
    EXPECT_EQ(reader->GetMethod(0x06000003, none.put()), E_FAIL);
    EXPECT_EQ(found->GetRootScope(nullptr), E_NOTIMPL);
}

TEST_F(SymbolLibrary, DocumentsTellWhatIsRecorded) {
    const sample_module module;
    const auto reader = open(module);
    ULONG32 count = 0;
    EXPECT_EQ(reader->GetDocuments(0, &count, nullptr), S_OK);
    EXPECT_EQ(count, 2u);
    const auto first = document(reader, L"c:/code/FIRST.cs");
    EXPECT_EQ(first->GetURL(0, &count, nullptr), S_OK);
    EXPECT_EQ(count, 17u);
    WCHAR url[17];
    EXPECT_EQ(first->GetURL(17, &count, url), S_OK);
    EXPECT_STREQ(url, L"C:\\Code\\First.cs");
    GUID algorithm{};
    EXPECT_EQ(first->GetCheckSumAlgorithmId(&algorithm), S_OK);
    EXPECT_EQ(algorithm.Data1, 0xFF1816ECu);
    BYTE checksum[64] = {};
    EXPECT_EQ(first->GetCheckSum(64, &count, checksum), S_OK);
    EXPECT_EQ(count, 20u);
    EXPECT_EQ(checksum[19], 0xA1);
    EXPECT_EQ(first->GetURL(17, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(first->GetURL(17, &count, nullptr), E_INVALIDARG);
    EXPECT_EQ(first->GetLanguage(nullptr), E_POINTER);
    com_hld<com::ISymUnmanagedDocument> none;
    EXPECT_EQ(reader->GetDocument(nullptr, GUID{}, GUID{}, GUID{}, none.put()), E_INVALIDARG);
    wchar_t other[] = L"C:\\Code\\Third.cs";
    EXPECT_EQ(reader->GetDocument(other, GUID{}, GUID{}, GUID{}, none.put()), E_FAIL);
}

TEST_F(SymbolLibrary, PlacesLeadToMethodsAndOffsets) {
    const sample_module module;
    const auto reader = open(module);
    const auto second = document(reader, L"C:\\Code\\Second.cs");
    com_hld<com::ISymUnmanagedMethod> found;
    ASSERT_EQ(reader->GetMethodFromDocumentPosition(second.get(), 9, 0, found.put()), S_OK);
    com::token token = 0;
    EXPECT_EQ(found->GetToken(&token), S_OK);
    EXPECT_EQ(token, 0x06000004u);
    ULONG32 value = 0;
    EXPECT_EQ(found->GetOffset(second.get(), 9, 5, &value), S_OK);
    EXPECT_EQ(value, 2u);
    EXPECT_EQ(found->GetOffset(second.get(), 9, 7, &value), E_FAIL);
    EXPECT_EQ(second->FindClosestLine(8, &value), S_OK);
    EXPECT_EQ(value, 9u);
    EXPECT_EQ(second->FindClosestLine(100, &value), E_FAIL);
    EXPECT_EQ(reader->GetMethodFromDocumentPosition(nullptr, 9, 0, found.put()), E_INVALIDARG);
    const sample_module other_module;
    const auto other = open(other_module);
    EXPECT_EQ(other->GetMethodFromDocumentPosition(second.get(), 9, 0, found.put()), E_INVALIDARG);
}

TEST_F(SymbolLibrary, SourceServerDataIsTheCallers) {
    auto description = test::sample_pdb_description();
    description.named = {{"srcsrv", {'S', 'R', 'C'}}};
    const sample_module with_data(description), without_data;
    ULONG size = 9;
    BYTE* data = nullptr;
    EXPECT_EQ(open(without_data).query<com::ISymUnmanagedSourceServerModule>()->GetSourceServerData(&size, &data),
              S_OK);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(open(with_data).query<com::ISymUnmanagedSourceServerModule>()->GetSourceServerData(&size, &data), S_OK);
    EXPECT_EQ(std::string(data, data + size), "SRC");
    CoTaskMemFree(data);
}

TEST_F(SymbolLibrary, FilesAreFoundByPolicyAndPath) {
    const sample_module module;
    const auto elsewhere = module.directory.copy(module.pdb, "elsewhere/module.pdb").parent_path();
    com_hld<com::ISymUnmanagedReader> reader;
    EXPECT_EQ(open(module, reader, L"", com::allow_original_path_access), pdb_not_found);
    EXPECT_EQ(reader.get(), nullptr);
    EXPECT_EQ(open(module, reader, elsewhere.c_str(), 0), S_OK);
    ULONG32 count = 0;
    std::vector<WCHAR> name(MAX_PATH);
    EXPECT_EQ(reader->GetSymbolStoreFileName(MAX_PATH, &count, name.data()), S_OK);
    EXPECT_EQ(boost::filesystem::path(name.data()), elsewhere / "module.pdb");
    const auto scope = open_scope(*dispenser.get(), module.image);
    EXPECT_EQ(binder->GetReaderForFile(scope.get(), module.image.c_str(), nullptr, reader.put()), S_OK);

    reader.reset();
    auto description = test::sample_pdb_description();
    ++description.age;
    sample_module::write_pdb(module.directory, description);
    EXPECT_EQ(open(module, reader), pdb_of_another_age);

    EXPECT_EQ(binder->GetReaderForFile2(nullptr, module.image.c_str(), L"", policy, reader.put()), E_INVALIDARG);
    EXPECT_EQ(binder->GetReaderForFile2(scope.get(), nullptr, L"", policy, reader.put()), E_INVALIDARG);
    EXPECT_EQ(binder->GetReaderForFile2(scope.get(), module.image.c_str(), L"", policy, nullptr), E_POINTER);
}

TEST_F(SymbolLibrary, ImagesWithoutRecordsHaveNoSymbols) {
    const sample_module module;
    const auto bytes = test::pe_builder().metadata(test::image_metadata(sample_module::mvid).build()).build().data;
    const auto bare = module.directory.write("bare.dll", std::string(bytes.begin(), bytes.end()));
    const auto scope = open_scope(*dispenser.get(), bare);
    com_hld<com::ISymUnmanagedReader> reader;
    EXPECT_EQ(binder->GetReaderForFile2(scope.get(), bare.c_str(), L"", policy, reader.put()), pdb_not_there);
}

TEST_F(SymbolLibrary, StreamsAreReadWhole) {
    const auto bytes = test::write_pdb(test::sample_pdb_description());
    com_hld<IStream> stream;
    ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, stream.put()), S_OK);
    ASSERT_EQ(stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr), S_OK);
    ASSERT_EQ(stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr), S_OK);
    com_hld<com::ISymUnmanagedReader> reader;
    EXPECT_EQ(binder->GetReaderFromStream(dispenser.get(), stream.get(), reader.put()), S_OK);
    method(reader, first_method);
    // The stream stands at its end now, where there is no file.
    EXPECT_TRUE(FAILED(binder->GetReaderFromStream(dispenser.get(), stream.get(), reader.put())));
    EXPECT_EQ(binder->GetReaderFromStream(dispenser.get(), nullptr, reader.put()), E_INVALIDARG);
}

TEST_F(SymbolLibrary, AfterDestroyTheFileIsFreeAndNothingAnswers) {
    const sample_module module;
    const auto reader = open(module);
    const auto found = method(reader, first_method);
    const auto first = document(reader, L"C:\\Code\\First.cs");
    ULONG32 count = 0;
    ULONG size = 0;
    BYTE* data = nullptr;
    GUID guid{};
    com_hld<com::ISymUnmanagedMethod> other;
    EXPECT_EQ(reader.query<com::ISymUnmanagedDispose>()->Destroy(), S_OK);
    EXPECT_TRUE(boost::filesystem::remove(module.pdb));
    const HRESULT answers[] = {
        reader->GetMethod(first_method, other.put()),
        reader->GetMethodByVersion(first_method, 7, other.put()),
        reader->GetMethodFromDocumentPosition(first.get(), 10, 0, other.put()),
        reader->GetDocuments(0, &count, nullptr),
        reader->GetNamespaces(0, &count, nullptr),
        reader->GetSymbolStoreFileName(0, &count, nullptr),
        reader->UpdateSymbolStore(nullptr, nullptr),
        reader.query<com::ISymUnmanagedSourceServerModule>()->GetSourceServerData(&size, &data),
        reader.query<com::ISymUnmanagedDispose>()->Destroy(),
        found->GetToken(&count),
        found->GetSequencePointCount(&count),
        found->GetRootScope(nullptr),
        first->GetURL(0, &count, nullptr),
        first->GetCheckSumAlgorithmId(&guid),
        first->FindClosestLine(1, &count),
    };
    EXPECT_THAT(answers, ::testing::Each(com::e_sym_destroyed));
}

// A method whose lines are damaged says so, and the others go on.
TEST_F(SymbolLibrary, DamageStaysWithItsMethod) {
    auto streams = test::write_streams(test::sample_pdb_description());
    streams[streams.modules[1]].resize(streams.symbol_sizes[1] + 12);
    const auto damaged = test::write_msf(streams.streams);
    const sample_module module;
    module.directory.write("module.pdb", std::string(damaged.begin(), damaged.end()));
    const auto reader = open(module);
    ULONG32 count = 0;
    const auto whole = method(reader, first_method);
    const auto broken = method(reader, 0x06000004);
    EXPECT_EQ(whole->GetSequencePointCount(&count), S_OK);
    EXPECT_EQ(count, 4u);
    const HRESULT answer = broken->GetSequencePointCount(&count);
    EXPECT_TRUE(FAILED(answer)) << std::hex << answer;
}

TEST_F(SymbolLibrary, AThousandReadersLeaveNothingBehind) {
    const sample_module module;
    const auto cycle = [&] {
        const auto reader = open(module);
        ULONG32 count = 0;
        EXPECT_EQ(method(reader, first_method)->GetSequencePointCount(&count), S_OK);
        EXPECT_EQ(reader.query<com::ISymUnmanagedDispose>()->Destroy(), S_OK);
    };
    const auto handles = [] {
        DWORD count = 0;
        GetProcessHandleCount(GetCurrentProcess(), &count);
        return count;
    };
    const auto memory = [] {
        PROCESS_MEMORY_COUNTERS counters{};
        GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
        return counters.PagefileUsage;
    };
    for (int i = 0; i < 50; ++i) cycle();
    const auto handles_before = handles();
    const auto memory_before = memory();
    for (int i = 0; i < 1000; ++i) cycle();
    EXPECT_EQ(handles(), handles_before);
    EXPECT_LT(memory(), memory_before + (1u << 20));
}

}  // namespace
}  // namespace qv::symbols
