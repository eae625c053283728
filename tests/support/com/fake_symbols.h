// For tests: the platform's symbol reader written by hand. Windows only.
//
// Every call works unless the script names it. Counts may be made to lie: what a reader gives is its own affair.
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
    bool has_source_server = true;
    bool has_dispose = true;
    std::optional<ULONG32> claimed_points, claimed_url, claimed_checksum;  // what the first of two calls answers
    int given_points_less = 0;                                             // the reader lost points meanwhile

    // What the classes over the reader were asked with.
    std::wstring opened_image, searched_image, search_path;
    ULONG32 policy = 0;
    bool importer_was_given = false;
    int destroyed = 0;
    int freed = 0;
};

class fake_document : public counted_object<com::unimplemented_document> {
public:
    fake_document(fake_module& module, std::size_t index)
        : counted_object(module), module_(module), document_(module.documents[index]) {}

    HRESULT STDMETHODCALLTYPE GetURL(ULONG32 capacity, ULONG32* count, WCHAR* url) override {
        const auto size = static_cast<ULONG32>(document_.url.size() + 1);
        if (url == nullptr) {
            *count = module_.claimed_url.value_or(size);
            return module_.result_of("GetURL size");
        }
        *count = size;
        std::copy_n(document_.url.c_str(), std::min(size, capacity), url);
        return module_.result_of("GetURL");
    }
    HRESULT STDMETHODCALLTYPE GetCheckSumAlgorithmId(GUID* algorithm) override {
        *algorithm = document_.algorithm;
        return module_.result_of("GetCheckSumAlgorithmId");
    }
    HRESULT STDMETHODCALLTYPE GetCheckSum(ULONG32 capacity, ULONG32* count, BYTE* checksum) override {
        *count = static_cast<ULONG32>(document_.checksum.size());
        if (checksum == nullptr) {
            *count = module_.claimed_checksum.value_or(*count);
            return module_.result_of("GetCheckSum size");
        }
        std::copy_n(document_.checksum.data(), std::min(*count, capacity), checksum);
        return module_.result_of("GetCheckSum");
    }

private:
    bool matches(REFIID id) const override { return IsEqualGUID(id, com::iid_of<com::ISymUnmanagedDocument>); }

    fake_module& module_;
    const fake_module::document& document_;
};

class fake_method : public counted_object<com::unimplemented_method> {
public:
    fake_method(fake_module& module, const std::vector<fake_point>& points)
        : counted_object(module), module_(module), points_(points) {}

    HRESULT STDMETHODCALLTYPE GetSequencePointCount(ULONG32* count) override {
        *count = module_.claimed_points.value_or(static_cast<ULONG32>(points_.size()));
        return module_.result_of("GetSequencePointCount");
    }
    HRESULT STDMETHODCALLTYPE GetSequencePoints(ULONG32 capacity, ULONG32* count, ULONG32* offsets,
                                                com::ISymUnmanagedDocument** documents, ULONG32* lines,
                                                ULONG32* columns, ULONG32* end_lines, ULONG32* end_columns) override {
        if (const HRESULT result = module_.result_of("GetSequencePoints"); FAILED(result)) return result;
        const auto size = static_cast<ULONG32>(points_.size());
        const ULONG32 given = std::min(capacity, size);
        for (ULONG32 i = 0; i < given; ++i) {
            const fake_point& point = points_[i];
            if (offsets) offsets[i] = point.offset;
            if (documents && point.document) documents[i] = new fake_document(module_, *point.document);
            if (lines) lines[i] = point.start_line;
            if (columns) columns[i] = point.start_column;
            if (end_lines) end_lines[i] = point.end_line;
            if (end_columns) end_columns[i] = point.end_column;
        }
        *count = size - static_cast<ULONG32>(module_.given_points_less);
        return S_OK;
    }

private:
    bool matches(REFIID id) const override { return IsEqualGUID(id, com::iid_of<com::ISymUnmanagedMethod>); }

    fake_module& module_;
    const std::vector<fake_point>& points_;
};

class fake_reader : public counted_object<com::unimplemented_reader, com::ISymUnmanagedSourceServerModule,
                                          com::ISymUnmanagedDispose> {
public:
    explicit fake_reader(fake_module& module) : counted_object(module), module_(module) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        if ((!module_.has_source_server && IsEqualGUID(id, com::iid_of<com::ISymUnmanagedSourceServerModule>)) ||
            (!module_.has_dispose && IsEqualGUID(id, com::iid_of<com::ISymUnmanagedDispose>))) {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        return counted_object::QueryInterface(id, object);
    }
    HRESULT STDMETHODCALLTYPE GetMethod(com::token method, com::ISymUnmanagedMethod** result) override {
        const auto found = module_.methods.find(method);
        *result = nullptr;
        if (const HRESULT failure = module_.result_of("GetMethod"); FAILED(failure)) return failure;
        if (found == module_.methods.end()) return E_FAIL;
        *result = new fake_method(module_, found->second);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetSourceServerData(ULONG* size, BYTE** data) override {
        if (const HRESULT failure = module_.result_of("GetSourceServerData"); FAILED(failure)) return failure;
        *size = static_cast<ULONG>(module_.source_server_data.size());
        *data = module_.source_server_data.empty() ? nullptr : module_.source_server_data.data();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Destroy() override {
        ++module_.destroyed;
        return module_.result_of("Destroy");
    }

private:
    bool matches(REFIID id) const override { return IsEqualGUID(id, com::iid_of<com::ISymUnmanagedReader>); }

    fake_module& module_;
};

class fake_scope : public counted_object<IUnknown> {
public:
    explicit fake_scope(com_script& script) : counted_object(script) {}

private:
    bool matches(REFIID id) const override { return IsEqualGUID(id, com::iid_of<com::IMetaDataImport>); }
};

class fake_dispenser : public counted_object<com::IMetaDataDispenser> {
public:
    explicit fake_dispenser(fake_module& module) : counted_object(module), module_(module) {}

    HRESULT STDMETHODCALLTYPE DefineScope(REFCLSID, DWORD, REFIID, IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE OpenScope(const WCHAR* file, DWORD flags, REFIID id, IUnknown** scope) override {
        *scope = nullptr;
        if (const HRESULT failure = module_.result_of("OpenScope"); FAILED(failure)) return failure;
        if (flags != 0 || !IsEqualGUID(id, com::iid_of<com::IMetaDataImport>)) return E_INVALIDARG;
        module_.opened_image = file;
        *scope = new fake_scope(module_);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OpenScopeOnMemory(const void*, ULONG, DWORD, REFIID, IUnknown**) override {
        return E_NOTIMPL;
    }

private:
    bool matches(REFIID id) const override { return IsEqualGUID(id, com::iid_of<com::IMetaDataDispenser>); }

    fake_module& module_;
};

class fake_binder : public counted_object<com::ISymUnmanagedBinder2> {
public:
    explicit fake_binder(fake_module& module) : counted_object(module), module_(module) {}

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
        if (const HRESULT result = module_.result_of("GetReaderForFile2"); result != S_OK) return result;
        module_.importer_was_given = importer != nullptr;
        module_.searched_image = file;
        module_.search_path = search_path;
        module_.policy = policy;
        *reader = new fake_reader(module_);
        return S_OK;
    }

private:
    bool matches(REFIID id) const override { return IsEqualGUID(id, com::iid_of<com::ISymUnmanagedBinder2>); }

    fake_module& module_;
};

}  // namespace qv::testing
