// For tests: a symbol reader that fails and lies. Windows only.
//
// Every call fills its outputs and then answers what the script says, so that a failing call may have given something.
#pragma once

#include "common/sdk_helpers.h"
#include "qv/com/metadata_import.h"
#include "qv/com/unimplemented.h"
#include "tests/support/com/fake_runtimes.h"

namespace qv::testing {

// Has one method. A success other than S_OK gives no object.
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

struct fake_document : fake_object<fake_module, com::unimplemented_document, com::ISymUnmanagedDocument> {
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

struct fake_method : fake_object<fake_module, com::unimplemented_method, com::ISymUnmanagedMethod> {
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

struct fake_reader : fake_object<fake_module, com::unimplemented_reader, com::ISymUnmanagedReader,
                                 com::ISymUnmanagedSourceServerModule, com::ISymUnmanagedDispose> {
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

}  // namespace qv::testing
