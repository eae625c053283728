#include <gmock/gmock.h>
#include <windows.h>

#include <boost/filesystem/operations.hpp>
#include <thread>
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
    com_hld<IClassFactory> factory;
    ASSERT_EQ(get_class_object(com::clsid_symbol_binder, com::iid_of<IClassFactory>, factory.put_void()), S_OK);
    EXPECT_EQ(factory->CreateInstance(binder.get(), com::iid_of<IUnknown>, &object), CLASS_E_NOAGGREGATION);
    object = this;
    EXPECT_EQ(factory->CreateInstance(nullptr, com::iid_of<com::IMetaDataDispenser>, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(binder.query<IUnknown>().get(), binder.query<com::ISymUnmanagedBinder>().query<IUnknown>().get());
}

// A client in a single-threaded apartment hands the binder to a thread of another one.
TEST_F(SymbolLibrary, EveryApartmentUsesTheObjectsThemselves) {
    IStream* marshaled = nullptr;
    std::thread([&] {
        ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
        EXPECT_EQ(
            CoMarshalInterThreadInterfaceInStream(com::iid_of<com::ISymUnmanagedBinder2>, binder.get(), &marshaled),
            S_OK);
        CoUninitialize();
    }).join();
    ASSERT_NE(marshaled, nullptr);
    ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
    com_hld<com::ISymUnmanagedBinder2> received;
    EXPECT_EQ(CoGetInterfaceAndReleaseStream(marshaled, com::iid_of<com::ISymUnmanagedBinder2>, received.put_void()),
              S_OK);
    EXPECT_EQ(received.get(), binder.get());
    com_hld<IUnknown> marshaler;
    EXPECT_EQ(binder->QueryInterface(IID_IMarshal, marshaler.put_void()), S_OK);
    EXPECT_EQ(marshaler.query<IUnknown>().get(), binder.query<IUnknown>().get()) << "part of the object";
    CoUninitialize();
}

TEST_F(SymbolLibrary, ScopesTellNameAndMvidOfManagedImages) {
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

    const auto open = [&](const std::wstring& file, DWORD flags) {
        com_hld<IUnknown> opened;
        return dispenser->OpenScope(file.c_str(), flags, com::iid_of<com::IMetaDataImport>, opened.put());
    };
    EXPECT_EQ(open(L"C:\\absent.dll", 0), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_TRUE(FAILED(open(module.directory.write("text.dll", "no image").native(), 0)));
    EXPECT_EQ(open(std::wstring(40000, L'x'), 0), E_INVALIDARG);
    EXPECT_EQ(open(module.image.native(), 1), E_NOTIMPL) << "for writing";
}

TEST_F(SymbolLibrary, MethodsGiveTheirPoints) {
    const sample_module module, other_module;
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
    for (auto* given : documents) com_hld<com::ISymUnmanagedDocument> {
            given
            } -> GetURL(0, &count, nullptr);
    EXPECT_EQ(found->GetSequencePoints(2, &count, offsets.data(), nullptr, nullptr, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(count, 2u);

    ULONG32 first_and_last[2] = {};
    BOOL has_source = FALSE;
    EXPECT_EQ(found->GetSourceStartEnd(nullptr, first_and_last, nullptr, &has_source), S_OK);
    EXPECT_THAT(first_and_last, ElementsAre(10, 13));
    com_hld<com::ISymUnmanagedMethod> none;
    EXPECT_EQ(reader->GetMethod(0x06000003, none.put()), E_FAIL);
    int version = 0;
    EXPECT_EQ(reader->GetMethodVersion(found.get(), &version), S_OK);
    EXPECT_EQ(version, 1);
    const auto foreign = open(other_module);
    EXPECT_EQ(foreign->GetMethodVersion(found.get(), &version), E_INVALIDARG);
    EXPECT_EQ(version, 0);
}

TEST_F(SymbolLibrary, DocumentsTellWhatIsRecorded) {
    const sample_module module;
    const auto reader = open(module);
    ULONG32 count = 0;
    EXPECT_EQ(reader->GetDocuments(0, &count, nullptr), S_OK);
    EXPECT_EQ(count, 2u);
    const auto first = document(reader, L"c:/code/FIRST.cs");
    WCHAR url[17];
    EXPECT_EQ(first->GetURL(17, &count, url), S_OK);
    EXPECT_EQ(count, 17u);
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
    com_hld<com::ISymUnmanagedDocument> none;
    wchar_t other[] = L"C:\\Code\\Third.cs";
    EXPECT_EQ(reader->GetDocument(other, GUID{}, GUID{}, GUID{}, none.put()), E_FAIL);
}

TEST_F(SymbolLibrary, PlacesLeadToMethodsAndOffsets) {
    const sample_module module, other_module;
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
    EXPECT_EQ(open(other_module)->GetMethodFromDocumentPosition(second.get(), 9, 0, found.put()), E_INVALIDARG);
}

TEST_F(SymbolLibrary, SourceServerDataIsTheCallers) {
    const struct {
        decltype(test::pdb_description::named) streams;
        std::string data;
    } cases[] = {
        {{}, ""},
        {{{"srcsrv", {'S', 'R', 'C'}}, {"sourcelink", {'{', '}'}}}, "SRC"},
    };
    for (const auto& each : cases) {
        auto description = test::sample_pdb_description();
        description.named = each.streams;
        const sample_module module(description);
        ULONG size = 9;
        BYTE* data = nullptr;
        EXPECT_EQ(open(module).query<com::ISymUnmanagedSourceServerModule>()->GetSourceServerData(&size, &data), S_OK);
        EXPECT_EQ(std::string(data, data + size), each.data);
        CoTaskMemFree(data);
    }
}

TEST_F(SymbolLibrary, FilesAreFoundByPolicyAndPath) {
    const sample_module module;
    const auto elsewhere = module.directory.copy(module.pdb, "elsewhere/module.pdb").parent_path();
    com_hld<com::ISymUnmanagedReader> reader;
    EXPECT_EQ(open(module, reader, L"", com::allow_original_path_access), pdb_not_found);
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
}

// Through the SymSrv.dll beside the library.
TEST_F(SymbolLibrary, SymbolServersAreAskedWhereThePolicySaysSo) {
    const sample_module module;
    const auto store = module.directory.path() / "store";
    module.directory.copy(module.pdb, L"store/module.pdb/7D3BE11C9BD24CA7A6261C82B93935A93/module.pdb");
    boost::filesystem::create_directory(store / "000Admin");
    const std::wstring element = L"C:\\nowhere;srv*" + store.native();
    com_hld<com::ISymUnmanagedReader> reader;
    EXPECT_EQ(open(module, reader, element.c_str(), com::allow_original_path_access), pdb_not_found);
    EXPECT_EQ(open(module, reader, element.c_str(), com::allow_symbol_server_access), S_OK);
    method(reader, first_method);
    EXPECT_EQ(open(module, reader, (element + L"2").c_str(), com::allow_symbol_server_access), pdb_not_found);
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
}

// Nothing answers any more, and no output keeps what stood in it before: a caller may release what he finds.
TEST_F(SymbolLibrary, AfterDestroyTheFileIsFreeAndOutputsAreEmpty) {
    const sample_module module;
    const auto reader = open(module);
    const auto found = method(reader, first_method);
    const auto first = document(reader, L"C:\\Code\\First.cs");
    EXPECT_EQ(reader.query<com::ISymUnmanagedDispose>()->Destroy(), S_OK);
    EXPECT_TRUE(boost::filesystem::remove(module.pdb));

    ULONG32 numbers[10];
    std::fill(std::begin(numbers), std::end(numbers), 7);
    void* objects[10];
    std::fill(std::begin(objects), std::end(objects), this);
    const auto object = [&](int index) { return reinterpret_cast<IUnknown**>(&objects[index]); };
    const auto method_at = [&](int index) { return reinterpret_cast<com::ISymUnmanagedMethod**>(&objects[index]); };
    const auto document_at = [&](int index) { return reinterpret_cast<com::ISymUnmanagedDocument**>(&objects[index]); };
    wchar_t url[] = L"C:\\Code\\First.cs", text[] = L"x";
    GUID guid{7, 0, 0, {}};
    ULONG size = 7;
    const HRESULT answers[] = {
        reader->GetMethod(first_method, method_at(0)),
        reader->GetMethodByVersion(first_method, 7, method_at(1)),
        reader->GetMethodFromDocumentPosition(first.get(), 10, 0, method_at(2)),
        reader->GetDocument(url, GUID{}, GUID{}, GUID{}, document_at(3)),
        reader->GetDocuments(1, &numbers[0], document_at(4)),
        reader->GetNamespaces(1, &numbers[1], object(5)),
        reader->GetSymbolStoreFileName(2, &numbers[2], text),
        reader->UpdateSymbolStore(nullptr, nullptr),
        reader.query<com::ISymUnmanagedSourceServerModule>()->GetSourceServerData(
            &size, reinterpret_cast<BYTE**>(&objects[6])),
        reader.query<com::ISymUnmanagedDispose>()->Destroy(),
        found->GetToken(&numbers[3]),
        found->GetSequencePointCount(&numbers[4]),
        found->GetSequencePoints(1, &numbers[5], nullptr, document_at(7), nullptr, nullptr, nullptr, nullptr),
        found->GetRootScope(object(8)),
        found->GetNamespace(object(9)),
        first->GetURL(0, &numbers[6], nullptr),
        first->GetCheckSum(0, &numbers[7], nullptr),
        first->GetCheckSumAlgorithmId(&guid),
        first->GetSourceLength(&numbers[8]),
        first->FindClosestLine(1, &numbers[9]),
    };
    EXPECT_THAT(answers, ::testing::Each(com::e_sym_destroyed));
    EXPECT_THAT(objects, ::testing::Each(nullptr));
    EXPECT_THAT(numbers, ::testing::Each(0u));
    EXPECT_EQ(guid.Data1 + size + text[0], 0u);
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

}  // namespace
}  // namespace qv::symbols
