// For tests: the platform's symbol reader written by hand. Windows only.
//
// Every call fills its outputs and then answers what the script says, so that a failing call may have given something.
// Counts may be made to lie, and a success other than S_OK gives no object: what a reader says is its own affair.
#pragma once

#include <algorithm>
#include <cwchar>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qv/com/metadata_import.h"
#include "qv/com/runtime_interfaces.h"
#include "qv/com/unimplemented.h"
#include "tests/support/com/counted_object.h"

namespace qv::testing {

struct fake_point {
    ULONG32 offset, start_line, start_column, end_line, end_column;
    std::optional<std::size_t> document;  // none: a null pointer is given
};

struct fake_module : com_script {
    struct document {
        std::wstring url;
        GUID algorithm{};
        std::vector<BYTE> checksum;
    };

    std::vector<document> documents;
    std::map<com::token, std::vector<fake_point>> methods;
    std::vector<BYTE> source_server_data;
    bool is_bare = false;                   // the reader has no interface but its own
    std::map<std::string, ULONG32> claims;  // the counts that calls answer instead of the true ones

    // What the classes over the reader were asked with.
    std::wstring opened_image, searched_image;
    std::vector<std::wstring> search_paths;
    ULONG32 policy = 0;
    bool importer_was_given = false;
    int read_urls = 0, destroyed = 0, freed = 0;

    template <class Size>
    ULONG32 claim(const char* call, Size size) const {
        const auto found = claims.find(call);
        return found == claims.end() ? static_cast<ULONG32>(size) : found->second;
    }

    // The contract of counted outputs; a call without a buffer asks for the size.
    template <class Value>
    HRESULT give(const std::string& call, const Value* source, std::size_t size, ULONG32 capacity, ULONG32* count,
                 Value* buffer) const {
        const std::string name = buffer == nullptr ? call + " size" : call;
        *count = claim(name.c_str(), size);
        if (buffer != nullptr) std::copy_n(source, std::min<std::size_t>(size, capacity), buffer);
        return result_of(name);
    }
};

// An object of the script whose first interface is known by its own id.
template <class First, class Interface, class... Others>
class fake_object : public counted_object<First, Others...> {
public:
    explicit fake_object(fake_module& module) : counted_object<First, Others...>(module), module_(module) {}

protected:
    bool matches(REFIID id) const override { return IsEqualGUID(id, com::iid_of<Interface>); }

    fake_module& module_;
};

class fake_document : public fake_object<com::unimplemented_document, com::ISymUnmanagedDocument> {
public:
    fake_document(fake_module& module, std::size_t index) : fake_object(module), document_(module.documents[index]) {}

    HRESULT STDMETHODCALLTYPE GetURL(ULONG32 capacity, ULONG32* count, WCHAR* url) override {
        if (url != nullptr) ++module_.read_urls;
        return module_.give("GetURL", document_.url.c_str(), document_.url.size() + 1, capacity, count, url);
    }
    HRESULT STDMETHODCALLTYPE GetCheckSumAlgorithmId(GUID* algorithm) override {
        *algorithm = document_.algorithm;
        return module_.result_of("GetCheckSumAlgorithmId");
    }
    HRESULT STDMETHODCALLTYPE GetCheckSum(ULONG32 capacity, ULONG32* count, BYTE* checksum) override {
        const auto& bytes = document_.checksum;
        return module_.give("GetCheckSum", bytes.data(), bytes.size(), capacity, count, checksum);
    }

private:
    const fake_module::document& document_;
};

class fake_method : public fake_object<com::unimplemented_method, com::ISymUnmanagedMethod> {
public:
    fake_method(fake_module& module, const std::vector<fake_point>& points) : fake_object(module), points_(points) {}

    HRESULT STDMETHODCALLTYPE GetSequencePointCount(ULONG32* count) override {
        *count = module_.claim("GetSequencePointCount", points_.size());
        return module_.result_of("GetSequencePointCount");
    }
    HRESULT STDMETHODCALLTYPE GetSequencePoints(ULONG32 capacity, ULONG32* count, ULONG32* offsets,
                                                com::ISymUnmanagedDocument** documents, ULONG32* lines,
                                                ULONG32* columns, ULONG32* end_lines, ULONG32* end_columns) override {
        std::map<std::size_t, fake_document*> objects;  // one for each document
        for (std::size_t i = 0; i < std::min<std::size_t>(capacity, points_.size()); ++i) {
            const fake_point& point = points_[i];
            offsets[i] = point.offset;
            if (documents == nullptr) continue;
            if (point.document) {
                auto& object = objects[*point.document];
                if (object == nullptr)
                    object = new fake_document(module_, *point.document);
                else
                    object->AddRef();
                documents[i] = object;
            }
            lines[i] = point.start_line;
            columns[i] = point.start_column;
            end_lines[i] = point.end_line;
            end_columns[i] = point.end_column;
        }
        *count = module_.claim("GetSequencePoints", points_.size());
        return module_.result_of("GetSequencePoints");
    }

private:
    const std::vector<fake_point>& points_;
};

class fake_reader : public fake_object<com::unimplemented_reader, com::ISymUnmanagedReader,
                                       com::ISymUnmanagedSourceServerModule, com::ISymUnmanagedDispose> {
public:
    using fake_object::fake_object;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        *object = nullptr;
        return module_.is_bare && !matches(id) ? E_NOINTERFACE : fake_object::QueryInterface(id, object);
    }
    HRESULT STDMETHODCALLTYPE GetMethod(com::token method, com::ISymUnmanagedMethod** result) override {
        *result = nullptr;
        const auto found = module_.methods.find(method);
        if (found == module_.methods.end()) return E_FAIL;
        const HRESULT answer = module_.result_of("GetMethod");
        if (answer == S_OK) *result = new fake_method(module_, found->second);
        return answer;
    }
    HRESULT STDMETHODCALLTYPE GetSourceServerData(ULONG* size, BYTE** data) override {
        *size = module_.claim("GetSourceServerData", module_.source_server_data.size());
        *data = module_.source_server_data.empty() ? nullptr : module_.source_server_data.data();
        return module_.result_of("GetSourceServerData");
    }
    HRESULT STDMETHODCALLTYPE Destroy() override {
        ++module_.destroyed;
        return module_.result_of("Destroy");
    }
};

class fake_dispenser : public fake_object<com::IMetaDataDispenser, com::IMetaDataDispenser> {
public:
    using fake_object::fake_object;

    HRESULT STDMETHODCALLTYPE DefineScope(REFCLSID, DWORD, REFIID, IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE OpenScope(const WCHAR* file, DWORD flags, REFIID id, IUnknown** scope) override {
        if (flags != 0 || !IsEqualGUID(id, com::iid_of<com::IMetaDataImport>)) return E_INVALIDARG;
        module_.opened_image = file;
        *scope = new fake_object<IUnknown, com::IMetaDataImport>(module_);
        return module_.result_of("OpenScope");
    }
    HRESULT STDMETHODCALLTYPE OpenScopeOnMemory(const void*, ULONG, DWORD, REFIID, IUnknown**) override {
        return E_NOTIMPL;
    }
};

class fake_binder : public fake_object<com::ISymUnmanagedBinder2, com::ISymUnmanagedBinder2> {
public:
    using fake_object::fake_object;

    HRESULT STDMETHODCALLTYPE GetReaderForFile(IUnknown*, const WCHAR*, const WCHAR*,
                                               com::ISymUnmanagedReader**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetReaderFromStream(IUnknown*, IStream*, com::ISymUnmanagedReader**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetReaderForFile2(IUnknown* importer, const WCHAR* file, const WCHAR* search_path,
                                                ULONG32 policy, com::ISymUnmanagedReader** reader) override {
        *reader = nullptr;
        module_.importer_was_given = importer != nullptr;
        module_.searched_image = file;
        module_.search_paths.emplace_back(search_path);
        module_.policy = policy;
        const HRESULT result = module_.result_of("GetReaderForFile2");
        if (result == S_OK) *reader = new fake_reader(module_);
        return result;
    }
};

}  // namespace qv::testing
