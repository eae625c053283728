// Loads the built library as a client does and uses its entry points only.
#include <gmock/gmock.h>
#include <windows.h>
// after <windows.h>
#include <objbase.h>
#include <olectl.h>
#include <shlwapi.h>

#include <boost/filesystem/operations.hpp>
#include <thread>
#include <vector>

#include "base/module_path.h"
#include "common/com/metadata_import.h"
#include "common/com/runtime_interfaces.h"
#include "common/com/symbol_interfaces.h"
#include "common/sdk_helpers.h"
#include "common/symbol_search.h"
#include "tests/support/builders/metadata_builder.h"
#include "tests/support/builders/pe_builder.h"
#include "tests/support/pdb_writer/sample_module.h"

namespace qv::symbols {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using testing::sample_module;

constexpr HRESULT pdb_not_found = static_cast<HRESULT>(0x806D0005);
constexpr HRESULT pdb_of_another_age = static_cast<HRESULT>(0x806D0007);
constexpr HRESULT pdb_not_there = static_cast<HRESULT>(0x806D0014);
constexpr ULONG32 hidden = 0xFEEFEE;

// The test programs lie beside the folder of the product's programs.
boost::filesystem::path library_path() {
    return boost::filesystem::path(module_path(nullptr)).parent_path().parent_path() / "bin" / "qv_symbols.dll";
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
                 const std::wstring& search_path = L"", ULONG32 with_policy = policy_reference_path) {
        return binder->GetReaderForFile2(open_scope(image).get(), image.c_str(), search_path.c_str(), with_policy,
                                         reader.put());
    }

    com_hld<com::ISymUnmanagedReader> open(const sample_module& module) {
        com_hld<com::ISymUnmanagedReader> reader;
        EXPECT_EQ(open(module.image, reader), S_OK);
        return reader;
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

TEST_F(SymbolLibrary, MethodsAndDocumentsGiveWhatIsRecordedUntilTheEnd) {
    const sample_module module, other_module;
    const auto reader = open(module), other_reader = open(other_module);
    com_hld<com::ISymUnmanagedMethod> method, found;
    com_hld<com::ISymUnmanagedDocument> document;
    ULONG32 count = 0, value = 0;
    ASSERT_EQ(reader->GetMethod(0x06000001, method.put()), S_OK);
    EXPECT_EQ(reader->GetMethod(0x06000003, found.put()), E_FAIL);
    std::vector<ULONG32> offsets(4), lines(4), columns(4), end_lines(4), end_columns(4);
    std::vector<com::ISymUnmanagedDocument*> documents(4);
    EXPECT_EQ(method->GetSequencePoints(4, &count, offsets.data(), documents.data(), lines.data(), columns.data(),
                                        end_lines.data(), end_columns.data()),
              S_OK);
    EXPECT_THAT(offsets, ElementsAre(0, 1, 7, 9));
    EXPECT_THAT(lines, ElementsAre(10, 11, hidden, 13));
    EXPECT_THAT(columns, ElementsAre(5, 9, 0, 5));
    EXPECT_THAT(end_lines, ElementsAre(10, 12, hidden, 13));
    EXPECT_THAT(end_columns, ElementsAre(6, 20, 0, 6));
    for (auto* const given : documents) given->Release();
    EXPECT_EQ(method->GetSequencePoints(2, &count, offsets.data(), nullptr, nullptr, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(count, 2u);
    BOOL has_source = FALSE;
    EXPECT_EQ(method->GetSourceStartEnd(nullptr, lines.data(), nullptr, &has_source), S_OK);
    EXPECT_THAT(lines, ElementsAre(10, 13, hidden, 13));
    int version = 0;
    EXPECT_EQ(reader->GetMethodVersion(method.get(), &version), S_OK);
    EXPECT_EQ(version, 1);
    EXPECT_EQ(other_reader->GetMethodVersion(method.get(), &version), E_INVALIDARG);

    wchar_t url[] = L"c:/code/SECOND.cs";
    ASSERT_EQ(reader->GetDocument(url, GUID{}, GUID{}, GUID{}, document.put()), S_OK);
    EXPECT_EQ(document->GetURL(18, &count, url), S_OK);
    EXPECT_STREQ(url, L"C:\\Code\\Second.cs");
    EXPECT_EQ(document->GetURL(18, &count, nullptr), E_INVALIDARG);
    EXPECT_EQ(other_reader->GetMethodFromDocumentPosition(document.get(), 9, 0, found.put()), E_INVALIDARG);
    ASSERT_EQ(reader->GetMethodFromDocumentPosition(document.get(), 9, 0, found.put()), S_OK);
    EXPECT_EQ(found->GetToken(&value), S_OK);
    EXPECT_EQ(value, 0x06000004u);
    EXPECT_EQ(found->GetOffset(document.get(), 9, 5, &value), S_OK);
    EXPECT_EQ(value, 2u);
    EXPECT_EQ(found->GetOffset(document.get(), 9, 7, &value), E_FAIL);
    EXPECT_EQ(found->GetOffset(document.get(), 8, 0, &value), E_FAIL);
    EXPECT_EQ(document->FindClosestLine(8, &value), S_OK);
    EXPECT_EQ(value, 9u);
    EXPECT_EQ(reader.query<com::ISymUnmanagedDispose>()->Destroy(), S_OK);
    EXPECT_TRUE(boost::filesystem::remove(module.pdb));

    // Nothing answers any more, and no output keeps what stood in it before: a caller may release what he finds.
    void* objects[] = {this, this, this, this};
    ULONG32 counts[] = {7, 7, 7, 7};
    const HRESULT answers[] = {
        reader->GetMethod(0x06000001, reinterpret_cast<com::ISymUnmanagedMethod**>(&objects[0])),
        reader->GetDocuments(1, &counts[0], reinterpret_cast<com::ISymUnmanagedDocument**>(&objects[1])),
        method->GetSequencePoints(1, &counts[1], nullptr, reinterpret_cast<com::ISymUnmanagedDocument**>(&objects[2]),
                                  nullptr, nullptr, nullptr, nullptr),
        method->GetRootScope(reinterpret_cast<IUnknown**>(&objects[3])),
        method->GetToken(&counts[2]),
        document->GetURL(18, &counts[3], url),
        reader.query<com::ISymUnmanagedDispose>()->Destroy(),
    };
    EXPECT_THAT(answers, Each(com::e_sym_destroyed));
    EXPECT_THAT(objects, Each(nullptr));
    EXPECT_THAT(counts, Each(0u));
    EXPECT_STREQ(url, L"");
}

TEST_F(SymbolLibrary, SourceServerDataAndChecksumsAreTheCallers) {
    auto description = test::sample_pdb_description();
    description.named = {{"srcsrv", {'S', 'R', 'C'}}};
    const sample_module module(description), without;
    ULONG size = 0;
    BYTE* data = nullptr;
    EXPECT_EQ(open(module).query<com::ISymUnmanagedSourceServerModule>()->GetSourceServerData(&size, &data), S_OK);
    EXPECT_EQ(std::string(data, data + size), "SRC");
    CoTaskMemFree(data);
    EXPECT_EQ(open(without).query<com::ISymUnmanagedSourceServerModule>()->GetSourceServerData(&size, &data), S_OK);
    EXPECT_EQ(data, nullptr);

    com_hld<com::ISymUnmanagedDocument> document;
    wchar_t url[] = L"C:\\Code\\First.cs";
    ASSERT_EQ(open(module)->GetDocument(url, GUID{}, GUID{}, GUID{}, document.put()), S_OK);
    GUID algorithm{};
    EXPECT_EQ(document->GetCheckSumAlgorithmId(&algorithm), S_OK);
    EXPECT_EQ(algorithm.Data1, 0xFF1816ECu);
    BYTE checksum[64] = {};
    ULONG32 count = 0;
    EXPECT_EQ(document->GetCheckSum(64, &count, checksum), S_OK);
    EXPECT_EQ(count, 20u);
    EXPECT_EQ(checksum[19], 0xA1);
}

TEST_F(SymbolLibrary, PolicySearchPathAndStreamsAreHandedOn) {
    const sample_module module;
    const auto elsewhere = module.directory.copy(module.pdb, "elsewhere/module.pdb");
    com_hld<com::ISymUnmanagedReader> reader;
    EXPECT_EQ(open(module.image, reader, L"", policy_original_path), pdb_not_found);
    EXPECT_EQ(open(module.image, reader, elsewhere.parent_path().native(), 0), S_OK);
    ULONG32 count = 0;
    std::vector<WCHAR> name(MAX_PATH);
    EXPECT_EQ(reader->GetSymbolStoreFileName(MAX_PATH, &count, name.data()), S_OK);
    EXPECT_EQ(name.data(), elsewhere);
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

    com_hld<IStream> stream;
    ASSERT_EQ(SHCreateStreamOnFileW(elsewhere.c_str(), STGM_READ, stream.put()), S_OK);
    EXPECT_EQ(binder->GetReaderFromStream(dispenser.get(), stream.get(), reader.put()), S_OK);
    // The stream stands at its end now, where there is no file.
    EXPECT_TRUE(FAILED(binder->GetReaderFromStream(dispenser.get(), stream.get(), reader.put())));
}

const std::wstring classes = L"Software\\Classes\\";
const std::wstring binder_key = L"CLSID\\{0A29FF9E-7F9C-4437-8B11-F424491E3931}";
const std::wstring dispenser_key = L"CLSID\\{E5CB7A31-7512-11D2-89CE-0080C792E5D8}";

std::wstring server_of(const std::wstring& key, const wchar_t* name = nullptr) {
    wchar_t text[MAX_PATH] = {};
    DWORD size = sizeof text;
    RegGetValueW(HKEY_CLASSES_ROOT, (key + L"\\InprocServer32").c_str(), name, RRF_RT_REG_SZ, nullptr, text, &size);
    return text;
}

// Changes the registry of the machine that runs the tests, and leaves it as it was.
TEST(Registration, TakesNoOnesPlaceAndLeavesNothingBehind) {
    ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
    const std::wstring own = library_path().native(), before = server_of(binder_key);
    if (!before.empty() && before != own) GTEST_SKIP() << "the machine has a symbol binder of its own";
    call("DllUnregisterServer");
    const auto dispenser_before = server_of(dispenser_key);
    for (int i = 0; i < 2; ++i) ASSERT_EQ(call("DllRegisterServer"), S_OK);
    EXPECT_EQ(server_of(binder_key, L"ThreadingModel"), L"Both");
    for (const auto& class_id : {com::clsid_symbol_binder, com::clsid_metadata_dispenser}) {
        com_hld<IUnknown> object;
        CoCreateInstance(class_id, nullptr, CLSCTX_INPROC_SERVER, com::iid_of<IUnknown>, object.put_void());
        EXPECT_TRUE(object);
    }
    for (int i = 0; i < 2; ++i) ASSERT_EQ(call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(server_of(binder_key), L"");
    EXPECT_EQ(server_of(dispenser_key), dispenser_before);
    EXPECT_EQ(server_of(dispenser_key, L"ReplacedServer"), L"");

    // A copy stands in for the platform's own reader, which keeps its place.
    const testing::temporary_directory directory;
    const auto other = directory.copy(library_path(), "other.dll").native();
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, (classes + binder_key + L"\\InprocServer32").c_str(), nullptr, REG_SZ,
                    other.c_str(), static_cast<DWORD>((other.size() + 1) * sizeof(wchar_t)));
    EXPECT_EQ(call("DllRegisterServer"), SELFREG_E_CLASS);
    EXPECT_EQ(call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(server_of(binder_key), other);
    EXPECT_NE(server_of(dispenser_key), own);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, (classes + binder_key).c_str());
    CoFreeUnusedLibrariesEx(0, 0);
    if (before == own) call("DllRegisterServer");
    CoUninitialize();
}

}  // namespace
}  // namespace qv::symbols
