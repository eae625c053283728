#include "symbol_services/qv_symbols/symbol_document.h"

#include "symbol_services/qv_symbols/outputs.h"

namespace qv::symbols {

symbol_document::symbol_document(std::shared_ptr<const symbol_file> file, std::uint32_t index)
    : file_(std::move(file)), index_(index) {}

std::optional<std::uint32_t> symbol_document::index_of(com::ISymUnmanagedDocument* document, const symbol_file& file) {
    com_hld<symbol_document> own;
    if (document == nullptr || FAILED(document->QueryInterface(com::iid_of<symbol_document>, own.put_void())))
        return std::nullopt;
    return own->file_.get() == &file ? std::optional(own->index_) : std::nullopt;
}

void* symbol_document::find_interface(REFIID id) noexcept {
    return IsEqualGUID(id, iid) ? this : com_object::find_interface(id);
}

HRESULT symbol_document::unimplemented() const noexcept {
    return file_->is_destroyed() ? com::e_sym_destroyed : E_NOTIMPL;
}

classic_reader::document symbol_document::read() const {
    return file_->get()->get_document(index_);
}

HRESULT symbol_document::give_guid(GUID classic_reader::document::*field, GUID* result) noexcept {
    com::clear_outputs(result);
    return guard([&] {
        const auto document = read();
        if (result == nullptr) return E_POINTER;
        *result = document.*field;
        return S_OK;
    });
}

HRESULT symbol_document::GetURL(ULONG32 capacity, ULONG32* count, WCHAR* url) {
    com::clear_outputs(count, com::output_text(url, capacity));
    return guard([&] { return give_text(file_->get()->document_url(index_), capacity, count, url); });
}

HRESULT symbol_document::GetDocumentType(GUID* type) {
    return give_guid(&classic_reader::document::type, type);
}

HRESULT symbol_document::GetLanguage(GUID* language) {
    return give_guid(&classic_reader::document::language, language);
}

HRESULT symbol_document::GetLanguageVendor(GUID* vendor) {
    return give_guid(&classic_reader::document::vendor, vendor);
}

HRESULT symbol_document::GetCheckSumAlgorithmId(GUID* algorithm) {
    return give_guid(&classic_reader::document::checksum_algorithm, algorithm);
}

HRESULT symbol_document::GetCheckSum(ULONG32 capacity, ULONG32* count, BYTE* checksum) {
    com::clear_outputs(count);
    return guard([&] {
        const auto document = read();
        return give_values(std::span<const BYTE>(document.checksum), capacity, count, checksum);
    });
}

HRESULT symbol_document::FindClosestLine(ULONG32 line, ULONG32* closest) {
    com::clear_outputs(closest);
    return guard([&] {
        const auto found = file_->get()->closest_line(index_, line);
        if (closest == nullptr) return E_POINTER;
        if (!found) return E_FAIL;
        *closest = *found;
        return S_OK;
    });
}

HRESULT symbol_document::HasEmbeddedSource(BOOL* has_source) {
    com::clear_outputs(has_source);
    ULONG32 length = 0;
    const HRESULT result = GetSourceLength(&length);
    if (FAILED(result)) return result;
    if (has_source == nullptr) return E_POINTER;
    *has_source = length != 0 ? TRUE : FALSE;
    return S_OK;
}

HRESULT symbol_document::GetSourceLength(ULONG32* length) {
    com::clear_outputs(length);
    return guard([&] {
        const auto document = read();
        if (length == nullptr) return E_POINTER;
        *length = document.source_size;
        return S_OK;
    });
}

HRESULT symbol_document::GetSourceRange(ULONG32, ULONG32, ULONG32, ULONG32, ULONG32 capacity, ULONG32* count,
                                        BYTE* source) {
    com::clear_outputs(count);
    return guard([&] {
        const auto embedded = file_->get()->embedded_source(index_);
        return give_values(std::span<const BYTE>(embedded), capacity, count, source);
    });
}

}  // namespace qv::symbols
