// Loads the built library as a client does and uses its entry points only.
#include <gmock/gmock.h>
#include <windows.h>
// after <windows.h>
#include <objbase.h>
#include <olectl.h>

#include <boost/filesystem/operations.hpp>
#include <thread>
#include <vector>

#include "common/sdk_helpers.h"
#include "qv/com/metadata_import.h"
#include "qv/com/runtime_interfaces.h"
#include "qv/com/symbol_interfaces.h"
#include "tests/support/builders/metadata_builder.h"
#include "tests/support/builders/pe_builder.h"
#include "tests/support/pdb_writer/sample_module.h"

namespace qv::symbols {
namespace {

using ::testing::ElementsAre;
using testing::sample_module;

constexpr HRESULT pdb_not_found = static_cast<HRESULT>(0x806D0005);
constexpr HRESULT pdb_of_another_age = static_cast<HRESULT>(0x806D0007);
constexpr HRESULT pdb_not_there = static_cast<HRESULT>(0x806D0014);
constexpr ULONG32 policy = com::allow_original_path_access | com::allow_reference_path_access;
constexpr com::token first_method = 0x06000001;
constexpr ULONG32 hidden = 0xFEEFEE;

// The test programs lie beside the folder of the product's programs.
boost::filesystem::path library_path() {
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    return boost::filesystem::path(program).parent_path().parent_path() / "bin" / "qv_symbols.dll";
}

template <class... Arguments>
HRESULT call(const char* name, Arguments... arguments) {
    static const HMODULE library = LoadLibraryW(library_path().c_str());
    return reinterpret_cast<HRESULT(STDMETHODCALLTYPE*)(Arguments...)>(
        reinterpret_cast<void*>(GetProcAddress(library, name)))(arguments...);
}

HRESULT get_class_object(REFCLSID class_id, REFIID id, void** object) {
    return call<REFCLSID, REFIID, void**>("DllGetClassObject", class_id, id, object);
}

template <class Interface>
com_hld<Interface> create(REFCLSID class_id) {
    com_hld<IClassFactory> factory;
    EXPECT_EQ(get_class_object(class_id, com::iid_of<IClassFactory>, factory.put_void()), S_OK);
    com_hld<Interface> object;
    EXPECT_EQ(factory->CreateInstance(nullptr, com::iid_of<Interface>, object.put_void()), S_OK);
    return object;
}

class SymbolLibrary : public ::testing::Test {
protected:
    // No object of a test is left over.
    ~SymbolLibrary() override {
        dispenser.reset();
        binder.reset();
        EXPECT_EQ(call("DllCanUnloadNow"), S_OK);
    }

    com_hld<IUnknown> open_scope(const boost::filesystem::path& image) {
        com_hld<IUnknown> scope;
        EXPECT_EQ(dispenser->OpenScope(image.c_str(), 0, com::iid_of<com::IMetaDataImport>, scope.put()), S_OK);
        return scope;
    }

    HRESULT open(const boost::filesystem::path& image, com_hld<com::ISymUnmanagedReader>& reader,
                 const std::wstring& search_path = L"", ULONG32 with_policy = policy) {
        return binder->GetReaderForFile2(open_scope(image).get(), image.c_str(), search_path.c_str(), with_policy,
                                         reader.put());
    }

    com_hld<com::ISymUnmanagedReader> open(const sample_module& module) {
        com_hld<com::ISymUnmanagedReader> reader;
        EXPECT_EQ(open(module.image, reader), S_OK);
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
        CoMarshalInterThreadInterfaceInStream(com::iid_of<com::ISymUnmanagedBinder2>, binder.get(), &marshaled);
        CoUninitialize();
    }).join();
    ASSERT_NE(marshaled, nullptr);
    ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
    com_hld<com::ISymUnmanagedBinder2> received;
    CoGetInterfaceAndReleaseStream(marshaled, com::iid_of<com::ISymUnmanagedBinder2>, received.put_void());
    EXPECT_EQ(received.get(), binder.get());
    com_hld<IUnknown> marshaler;
    EXPECT_EQ(binder->QueryInterface(IID_IMarshal, marshaler.put_void()), S_OK);
    EXPECT_EQ(marshaler.query<IUnknown>().get(), binder.query<IUnknown>().get()) << "part of the object";
    CoUninitialize();
}

TEST_F(SymbolLibrary, ScopesTellNameAndMvidOfManagedImages) {
    const sample_module module;
    const auto scope = open_scope(module.image).query<com::IMetaDataImport>();
    WCHAR name[32] = {};
    ULONG count = 0;
    GUID mvid{};
    EXPECT_EQ(scope->GetScopeProps(name, 4, &count, &mvid), S_OK);
    EXPECT_STREQ(name, L"Mod");
    EXPECT_EQ(count, 11u);
    EXPECT_TRUE(IsEqualGUID(mvid, sample_module::mvid));
    const auto failure = [&](const std::wstring& file, DWORD flags = 0) {
        com_hld<IUnknown> opened;
        return dispenser->OpenScope(file.c_str(), flags, com::iid_of<com::IMetaDataImport>, opened.put());
    };
    EXPECT_EQ(failure(L"C:\\absent.dll"), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(failure(std::wstring(40000, L'x')), E_INVALIDARG);
    EXPECT_EQ(failure(module.image.native(), 1), E_NOTIMPL) << "for writing";
}

TEST_F(SymbolLibrary, MethodsGiveTheirPoints) {
    const sample_module module, other_module;
    const auto reader = open(module);
    const auto found = method(reader, first_method);
    ULONG32 count = 0;
    EXPECT_EQ(found->GetSequencePointCount(&count), S_OK);
    ASSERT_EQ(count, 4u);
    std::vector<ULONG32> offsets(4), lines(4), columns(4), end_lines(4), end_columns(4);
    std::vector<com::ISymUnmanagedDocument*> documents(4);
    EXPECT_EQ(found->GetSequencePoints(4, &count, offsets.data(), documents.data(), lines.data(), columns.data(),
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
    BOOL has_source = FALSE;
    EXPECT_EQ(found->GetSourceStartEnd(nullptr, lines.data(), nullptr, &has_source), S_OK);
    EXPECT_THAT(lines, ElementsAre(10, 13, hidden, 13));
    com_hld<com::ISymUnmanagedMethod> none;
    EXPECT_EQ(reader->GetMethod(0x06000003, none.put()), E_FAIL);
    int version = 0;
    EXPECT_EQ(reader->GetMethodVersion(found.get(), &version), S_OK);
    EXPECT_EQ(version, 1);
    EXPECT_EQ(open(other_module)->GetMethodVersion(found.get(), &version), E_INVALIDARG);
    EXPECT_EQ(version, 0);
}

TEST_F(SymbolLibrary, DocumentsTellWhatIsRecordedAndLeadToMethods) {
    const sample_module module, other_module;
    const auto reader = open(module);
    const auto first = document(reader, L"c:/code/FIRST.cs"), second = document(reader, L"C:\\Code\\Second.cs");
    ULONG32 count = 0;
    WCHAR url[17];
    EXPECT_EQ(first->GetURL(17, &count, url), S_OK);
    EXPECT_STREQ(url, L"C:\\Code\\First.cs");
    EXPECT_EQ(first->GetURL(17, &count, nullptr), E_INVALIDARG);
    GUID algorithm{};
    EXPECT_EQ(first->GetCheckSumAlgorithmId(&algorithm), S_OK);
    EXPECT_EQ(algorithm.Data1, 0xFF1816ECu);
    BYTE checksum[64] = {};
    EXPECT_EQ(first->GetCheckSum(64, &count, checksum), S_OK);
    EXPECT_EQ(count, 20u);
    EXPECT_EQ(checksum[19], 0xA1);

    com_hld<com::ISymUnmanagedMethod> found;
    ASSERT_EQ(reader->GetMethodFromDocumentPosition(second.get(), 9, 0, found.put()), S_OK);
    com::token token = 0;
    EXPECT_EQ(found->GetToken(&token), S_OK);
    EXPECT_EQ(token, 0x06000004u);
    ULONG32 value = 0;
    EXPECT_EQ(found->GetOffset(second.get(), 9, 5, &value), S_OK);
    EXPECT_EQ(value, 2u);
    EXPECT_EQ(found->GetOffset(second.get(), 9, 7, &value), E_FAIL);
    EXPECT_EQ(found->GetOffset(second.get(), 8, 0, &value), E_FAIL);
    EXPECT_EQ(second->FindClosestLine(8, &value), S_OK);
    EXPECT_EQ(value, 9u);
    EXPECT_EQ(open(other_module)->GetMethodFromDocumentPosition(second.get(), 9, 0, found.put()), E_INVALIDARG);
}

TEST_F(SymbolLibrary, SourceServerDataIsTheCallers) {
    const std::pair<decltype(test::pdb_description::named), std::string> cases[] = {
        {{}, ""},
        {{{"srcsrv", {'S', 'R', 'C'}}, {"sourcelink", {'{', '}'}}}, "SRC"},
        {{{"sourcelink", {'{', '}'}}}, "{}"},
        {{{"sourcelink", {'{', '}'}}}, "{}"},
    };
    for (const auto& [streams, expected] : cases) {
        auto description = test::sample_pdb_description();
        description.named = streams;
        const sample_module module(description);
        ULONG size = 9;
        BYTE* data = nullptr;
        EXPECT_EQ(open(module).query<com::ISymUnmanagedSourceServerModule>()->GetSourceServerData(&size, &data), S_OK);
        EXPECT_EQ(std::string(data, data + size), expected);
        CoTaskMemFree(data);
    }
}

TEST_F(SymbolLibrary, FilesAreFoundByPolicyAndPath) {
    const sample_module module;
    const auto elsewhere = module.directory.copy(module.pdb, "elsewhere/module.pdb").parent_path();
    module.directory.copy(module.pdb, L"store/module.pdb/7D3BE11C9BD24CA7A6261C82B93935A93/module.pdb");
    const auto cached = L"cache*" + (module.directory.path() / "cache").native() + L";srv*";
    const auto store = cached + (module.directory.path() / "store").native();
    com_hld<com::ISymUnmanagedReader> reader;
    EXPECT_EQ(open(module.image, reader, L"", com::allow_original_path_access), pdb_not_found);
    EXPECT_EQ(open(module.image, reader, store, com::allow_original_path_access), pdb_not_found);
    EXPECT_EQ(open(module.image, reader, cached + L"C:\\nowhere", com::allow_symbol_server_access), pdb_not_found);
    EXPECT_EQ(open(module.image, reader, elsewhere.native(), 0), S_OK);
    // Through the SymSrv.dll beside the library.
    EXPECT_EQ(open(module.image, reader, store, com::allow_symbol_server_access), S_OK);
    ULONG32 count = 0;
    std::vector<WCHAR> name(MAX_PATH);
    EXPECT_EQ(reader->GetSymbolStoreFileName(MAX_PATH, &count, name.data()), S_OK);
    EXPECT_TRUE(std::wstring(name.data()).starts_with((module.directory.path() / "cache").native()));
    EXPECT_EQ(binder->GetReaderForFile(open_scope(module.image).get(), module.image.c_str(), nullptr, reader.put()),
              S_OK);

    reader.reset();
    auto description = test::sample_pdb_description();
    ++description.age;
    sample_module::write_pdb(module.directory, description);
    EXPECT_EQ(open(module.image, reader), pdb_of_another_age);
    const auto bytes = test::pe_builder().metadata(test::image_metadata(sample_module::mvid).build()).build().data;
    const auto bare = module.directory.write("bare.dll", std::string(bytes.begin(), bytes.end()));
    EXPECT_EQ(open(bare, reader), pdb_not_there);
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

    std::vector<ULONG32> numbers(11, 7);
    std::vector<void*> objects(9, this);
    const auto number = numbers.begin();
    const auto method_at = [&](std::size_t index) {
        return reinterpret_cast<com::ISymUnmanagedMethod**>(&objects[index]);
    };
    const auto document_at = [&](std::size_t index) {
        return reinterpret_cast<com::ISymUnmanagedDocument**>(&objects[index]);
    };
    wchar_t url[] = L"C:\\Code\\First.cs";
    GUID guid{7, 0, 0, {}};
    const HRESULT answers[] = {
        reader->GetMethod(first_method, method_at(0)),
        reader->GetMethodByVersion(first_method, 7, method_at(1)),
        reader->GetMethodFromDocumentPosition(first.get(), 10, 0, method_at(2)),
        reader->GetDocument(url, GUID{}, GUID{}, GUID{}, document_at(3)),
        reader->GetDocuments(1, &number[0], document_at(4)),
        reader->GetNamespaces(1, &number[1], reinterpret_cast<IUnknown**>(&objects[5])),
        reader->GetSymbolStoreFileName(2, &number[2], url),
        reader.query<com::ISymUnmanagedSourceServerModule>()->GetSourceServerData(
            reinterpret_cast<ULONG*>(&number[3]), reinterpret_cast<BYTE**>(&objects[6])),
        reader.query<com::ISymUnmanagedDispose>()->Destroy(),
        found->GetToken(&number[4]),
        found->GetSequencePointCount(&number[5]),
        found->GetSequencePoints(1, &number[6], nullptr, document_at(7), nullptr, nullptr, nullptr, nullptr),
        found->GetRootScope(reinterpret_cast<IUnknown**>(&objects[8])),
        first->GetURL(0, &number[7], nullptr),
        first->GetCheckSum(0, &number[8], nullptr),
        first->GetCheckSumAlgorithmId(&guid),
        first->GetSourceLength(&number[9]),
        first->FindClosestLine(1, &number[10]),
    };
    EXPECT_THAT(answers, ::testing::Each(com::e_sym_destroyed));
    EXPECT_THAT(objects, ::testing::Each(nullptr));
    EXPECT_THAT(numbers, ::testing::Each(0u));
    EXPECT_EQ(guid.Data1 + url[0], 0u);
}

const std::wstring binder_key = L"CLSID\\{0A29FF9E-7F9C-4437-8B11-F424491E3931}";
const std::wstring dispenser_key = L"CLSID\\{E5CB7A31-7512-11D2-89CE-0080C792E5D8}";

std::wstring server_of(const std::wstring& key, const wchar_t* name = nullptr) {
    wchar_t text[MAX_PATH] = {};
    DWORD size = sizeof text;
    RegGetValueW(HKEY_CLASSES_ROOT, (key + L"\\InprocServer32").c_str(), name, RRF_RT_REG_SZ, nullptr, text, &size);
    return text;
}

bool com_makes(REFCLSID class_id) {
    com_hld<IUnknown> object;
    return CoCreateInstance(class_id, nullptr, CLSCTX_INPROC_SERVER, com::iid_of<IUnknown>, object.put_void()) == S_OK;
}

// Changes the registry of the machine that runs the tests, and leaves it as it was.
TEST(Registration, TakesNoOnesPlaceAndLeavesNothingBehind) {
    ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
    const std::wstring own = library_path().native(), before = server_of(binder_key);
    if (!before.empty() && before != own) GTEST_SKIP() << "the machine has a symbol binder of its own";
    call("DllUnregisterServer");
    const auto dispenser_before = server_of(dispenser_key);
    EXPECT_FALSE(com_makes(com::clsid_symbol_binder));
    for (int i = 0; i < 2; ++i) ASSERT_EQ(call("DllRegisterServer"), S_OK);
    EXPECT_EQ(server_of(binder_key), own);
    EXPECT_EQ(server_of(binder_key, L"ThreadingModel"), L"Both");
    EXPECT_TRUE(com_makes(com::clsid_symbol_binder) && com_makes(com::clsid_metadata_dispenser));
    for (int i = 0; i < 2; ++i) ASSERT_EQ(call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(server_of(binder_key), L"");
    EXPECT_EQ(server_of(dispenser_key), dispenser_before);
    EXPECT_EQ(server_of(dispenser_key, L"ReplacedServer"), L"");

    // A copy stands in for the platform's own reader, which keeps its place.
    const testing::temporary_directory directory;
    const auto other = directory.copy(library_path(), "other.dll").native();
    const auto key = L"Software\\Classes\\" + binder_key;
    ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, (key + L"\\InprocServer32").c_str(), nullptr, REG_SZ, other.c_str(),
                              static_cast<DWORD>((other.size() + 1) * sizeof(wchar_t))),
              0);
    EXPECT_EQ(call("DllRegisterServer"), SELFREG_E_CLASS);
    EXPECT_EQ(call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(server_of(binder_key), other);
    EXPECT_NE(server_of(dispenser_key), own);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
    CoFreeUnusedLibrariesEx(0, 0);
    if (before == own) call("DllRegisterServer");
    CoUninitialize();
}

}  // namespace
}  // namespace qv::symbols
