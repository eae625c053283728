#include "symbol_services/qv_symbols/symbol_reader.h"

#include <objbase.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

#include "symbol_services/qv_symbols/outputs.h"
#include "symbol_services/qv_symbols/symbol_document.h"
#include "symbol_services/qv_symbols/symbol_method.h"

namespace qv::symbols {
namespace {

// No file holds more than one version of anything.
constexpr int only_version = 1;

// Makes the objects that fit, and then gives them all.
template <class Object, class Interface, class Value>
HRESULT give_objects(const std::shared_ptr<const symbol_file>& file, std::span<const Value> values, ULONG32 capacity,
                     ULONG32* count, Interface** buffer) {
    if (count == nullptr && buffer == nullptr) return E_POINTER;
    if (buffer == nullptr && capacity != 0) return E_INVALIDARG;
    if (values.size() > std::numeric_limits<ULONG32>::max()) return E_OUTOFMEMORY;
    std::vector<com_hld<Object>> objects;
    for (const Value value : values.first(std::min<std::size_t>(values.size(), capacity)))
        objects.push_back(make_object<Object>(file, value));
    for (std::size_t i = 0; i < objects.size(); ++i) buffer[i] = objects[i].release();
    if (count != nullptr) *count = static_cast<ULONG32>(values.size());
    return S_OK;
}

}  // namespace

symbol_reader::symbol_reader(std::shared_ptr<const classic_reader::pdb> file, std::wstring name)
    : file_(std::make_shared<symbol_file>(std::move(file), std::move(name))) {}

HRESULT symbol_reader::unimplemented() const noexcept {
    return file_->is_destroyed() ? com::e_sym_destroyed : E_NOTIMPL;
}

HRESULT symbol_reader::GetDocument(WCHAR* url, GUID, GUID, GUID, com::ISymUnmanagedDocument** document) {
    com::clear_outputs(document);
    return guard([&] {
        const auto file = file_->get();
        if (document == nullptr) return E_POINTER;
        std::wstring name;
        if (!take_text(url, name)) return E_INVALIDARG;
        const auto index = file->find_document(name);
        if (!index) return E_FAIL;
        *document = make_object<symbol_document>(file_, *index).release();
        return S_OK;
    });
}

HRESULT symbol_reader::GetDocuments(ULONG32 capacity, ULONG32* count, com::ISymUnmanagedDocument** documents) {
    com::clear_outputs(count, com::output_array(documents, capacity));
    return guard([&] {
        std::vector<std::uint32_t> indexes(file_->get()->document_count());
        for (std::uint32_t i = 0; i < indexes.size(); ++i) indexes[i] = i;
        return give_objects<symbol_document>(file_, std::span<const std::uint32_t>(indexes), capacity, count,
                                             documents);
    });
}

HRESULT symbol_reader::GetMethod(com::token method, com::ISymUnmanagedMethod** result) {
    com::clear_outputs(result);
    return guard([&] {
        const auto file = file_->get();
        if (result == nullptr) return E_POINTER;
        if (!file->has_method(method)) return E_FAIL;
        *result = make_object<symbol_method>(file_, method).release();
        return S_OK;
    });
}

HRESULT symbol_reader::GetMethodByVersion(com::token method, int version, com::ISymUnmanagedMethod** result) {
    if (version == only_version) return GetMethod(method, result);
    com::clear_outputs(result);
    if (file_->is_destroyed()) return com::e_sym_destroyed;
    return result == nullptr ? E_POINTER : E_INVALIDARG;
}

HRESULT symbol_reader::GetMethodFromDocumentPosition(com::ISymUnmanagedDocument* document, ULONG32 line, ULONG32 column,
                                                     com::ISymUnmanagedMethod** result) {
    if (result == nullptr) return E_POINTER;
    ULONG32 count = 0;
    const HRESULT answer = GetMethodsFromDocumentPosition(document, line, column, 1, &count, result);
    return SUCCEEDED(answer) && count == 0 ? E_FAIL : answer;
}

HRESULT symbol_reader::GetMethodsFromDocumentPosition(com::ISymUnmanagedDocument* document, ULONG32 line, ULONG32,
                                                      ULONG32 capacity, ULONG32* count,
                                                      com::ISymUnmanagedMethod** methods) {
    com::clear_outputs(count, com::output_array(methods, capacity));
    return guard([&] {
        const auto file = file_->get();
        const auto index = symbol_document::index_of(document, *file_);
        if (!index) return E_INVALIDARG;
        const auto tokens = file->methods_at(*index, line);
        return give_objects<symbol_method>(file_, std::span<const std::uint32_t>(tokens), capacity, count, methods);
    });
}

HRESULT symbol_reader::GetSymbolStoreFileName(ULONG32 capacity, ULONG32* count, WCHAR* name) {
    com::clear_outputs(count, com::output_text(name, capacity));
    return guard([&] {
        file_->get();
        return give_text(file_->name(), capacity, count, name);
    });
}

HRESULT symbol_reader::GetDocumentVersion(com::ISymUnmanagedDocument* document, int* version, BOOL* is_current) {
    com::clear_outputs(version, is_current);
    return guard([&] {
        file_->get();
        if (version == nullptr && is_current == nullptr) return E_POINTER;
        if (!symbol_document::index_of(document, *file_)) return E_INVALIDARG;
        if (version != nullptr) *version = only_version;
        if (is_current != nullptr) *is_current = TRUE;
        return S_OK;
    });
}

HRESULT symbol_reader::GetMethodVersion(com::ISymUnmanagedMethod* method, int* version) {
    com::clear_outputs(version);
    if (file_->is_destroyed()) return com::e_sym_destroyed;
    if (version == nullptr) return E_POINTER;
    if (!symbol_method::is_of(method, *file_)) return E_INVALIDARG;
    *version = only_version;
    return S_OK;
}

HRESULT symbol_reader::GetSourceServerData(ULONG* size, BYTE** data) {
    com::clear_outputs(size, data);
    return guard([&] {
        const auto bytes = file_->get()->source_server_data();
        if (size == nullptr || data == nullptr) return E_POINTER;
        if (bytes.empty()) return S_OK;
        if (bytes.size() > std::numeric_limits<ULONG>::max()) return E_OUTOFMEMORY;
        auto* const copy = static_cast<BYTE*>(CoTaskMemAlloc(bytes.size()));
        if (copy == nullptr) return E_OUTOFMEMORY;
        std::memcpy(copy, bytes.data(), bytes.size());
        *data = copy;
        *size = static_cast<ULONG>(bytes.size());
        return S_OK;
    });
}

HRESULT symbol_reader::Destroy() {
    return file_->destroy() ? S_OK : com::e_sym_destroyed;
}

}  // namespace qv::symbols
