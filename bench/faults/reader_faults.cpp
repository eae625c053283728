// Calls of the system that only those make the reader of classic PDBs do who use it directly.
#include <map>

#include "base/holders.h"
#include "base/module_path.h"
#include "bench/faults/library_calls.h"
#include "bench/faults/scenario.h"
#include "common/com/metadata_import.h"
#include "common/com/runtime_interfaces.h"
#include "common/com/symbol_interfaces.h"
#include "common/sdk_helpers.h"
#include "tests/support/pdb_writer/sample_module.h"

// after <objbase.h>
#include <objidl.h>

namespace qv::bench {
namespace {

using testing::sample_module;

class direct_user {
public:
    explicit direct_user(HMODULE library) : library_(library), module_(description()) {}

    HRESULT use(const std::string& function) {
        static const std::map<std::string, HRESULT (direct_user::*)()> uses = {
            {"LCMapStringEx", &direct_user::find_document},
            {"CoTaskMemAlloc", &direct_user::get_source_server_data},
            {"CoCreateFreeThreadedMarshaler", &direct_user::marshal}};
        return (this->*uses.at(function))();
    }

private:
    static test::pdb_description description() {
        auto all = test::sample_pdb_description();
        all.named = {{"srcsrv", {'S', 'R', 'C'}}};
        return all;
    }

    template <class Interface>
    com_hld<Interface> create(REFCLSID class_id) {
        using get_function = HRESULT(STDMETHODCALLTYPE*)(REFCLSID, REFIID, void**);
        const auto get =
            reinterpret_cast<get_function>(reinterpret_cast<void*>(GetProcAddress(library_, "DllGetClassObject")));
        com_hld<IClassFactory> factory;
        promise(get(class_id, com::iid_of<IClassFactory>, factory.put_void()) == S_OK, "a class of the reader");
        com_hld<Interface> object;
        promise(factory->CreateInstance(nullptr, com::iid_of<Interface>, object.put_void()) == S_OK, "an object");
        return object;
    }

    com_hld<com::ISymUnmanagedReader> open() {
        com_hld<IUnknown> scope;
        com_hld<com::ISymUnmanagedReader> reader;
        create<com::IMetaDataDispenser>(com::clsid_metadata_dispenser)
            ->OpenScope(module_.image.c_str(), 0, com::iid_of<com::IMetaDataImport>, scope.put());
        promise(create<com::ISymUnmanagedBinder2>(com::clsid_symbol_binder)
                        ->GetReaderForFile(scope.get(), module_.image.c_str(), nullptr, reader.put()) == S_OK,
                "a reader");
        return reader;
    }

    // By a name with a character of one unit and one of two, outside ASCII.
    HRESULT find_document() {
        wchar_t url[] = L"C:\\Code\\\u00C4\U00010400.cs";
        com_hld<com::ISymUnmanagedDocument> document;
        return open()->GetDocument(url, GUID{}, GUID{}, GUID{}, document.put());
    }

    HRESULT get_source_server_data() {
        ULONG size = 0;
        BYTE* data = nullptr;
        const HRESULT result = open().query<com::ISymUnmanagedSourceServerModule>()->GetSourceServerData(&size, &data);
        CoTaskMemFree(data);
        return result;
    }

    HRESULT marshal() {
        com_hld<IUnknown> marshaler;
        return open()->QueryInterface(IID_IMarshal, marshaler.put_void());
    }

    const HMODULE library_;
    const sample_module module_;
};

unsigned fail_each(const library_call& row, HMODULE library, direct_user& user) {
    const auto import = row.replace(library);
    for (unsigned failures = 0;; ++failures) {
        failing_calls::begin(static_cast<int>(failures) + 1);
        const std::string result = result_text(user.use(row.name));
        const bool failed = failing_calls::end() != 0;
        promise(row.texts.contains(result) == failed, std::string(row.name) + " answers " + result);
        if (!failed) return failures;
    }
}

std::string reader_calls_fail(const circumstances&) {
    const com_apartment com;
    const library_hld library(
        LoadLibraryW((boost::filesystem::path(module_path(nullptr)).parent_path() / reader).c_str()));
    promise(static_cast<bool>(library), "the reader");
    direct_user user(library.get());
    std::string text;
    unsigned failures = 0;
    for (const library_call& row : reader_calls()) {
        const unsigned times = fail_each(row, library.get(), user);
        promise(times != 0, std::string(row.name) + " is called at all");
        text += "\n      " + std::string(row.name) + ", " + std::to_string(times) + " times";
        failures += times;
    }
    return std::to_string(failures) + " failing calls of " + std::to_string(reader_calls().size()) +
           " functions, right results afterwards:" + text;
}

}  // namespace

std::vector<scenario> reader_scenarios() {
    return {{"reader_calls", reader_calls_fail}};
}

}  // namespace qv::bench
