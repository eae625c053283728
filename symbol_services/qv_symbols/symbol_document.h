// A document of a classic PDB file.
#pragma once

#include <memory>
#include <optional>

#include "common/com/symbol_interfaces.h"
#include "symbol_services/qv_symbols/com_object.h"
#include "symbol_services/qv_symbols/symbol_file.h"

namespace qv::symbols {

class symbol_document final : public com_object<com::ISymUnmanagedDocument> {
public:
    // By this id the documents of this library know each other.
    static constexpr GUID iid{0x91A45CE9, 0xB22C, 0x4DF1, {0xA3, 0x81, 0x8E, 0x25, 0x5D, 0x95, 0x09, 0x4B}};

    // `index` is less than the number of documents of the file.
    symbol_document(std::shared_ptr<const symbol_file> file, std::uint32_t index);

    // The index of a document that a client hands in; none unless it is one of this file.
    static std::optional<std::uint32_t> index_of(com::ISymUnmanagedDocument* document, const symbol_file& file);

    HRESULT STDMETHODCALLTYPE GetURL(ULONG32 capacity, ULONG32* count, WCHAR* url) override;
    HRESULT STDMETHODCALLTYPE GetDocumentType(GUID* type) override;
    HRESULT STDMETHODCALLTYPE GetLanguage(GUID* language) override;
    HRESULT STDMETHODCALLTYPE GetLanguageVendor(GUID* vendor) override;
    HRESULT STDMETHODCALLTYPE GetCheckSumAlgorithmId(GUID* algorithm) override;
    HRESULT STDMETHODCALLTYPE GetCheckSum(ULONG32 capacity, ULONG32* count, BYTE* checksum) override;
    HRESULT STDMETHODCALLTYPE FindClosestLine(ULONG32 line, ULONG32* closest) override;
    HRESULT STDMETHODCALLTYPE HasEmbeddedSource(BOOL* has_source) override;
    HRESULT STDMETHODCALLTYPE GetSourceLength(ULONG32* length) override;
    // Only the whole source is given, whatever the range.
    HRESULT STDMETHODCALLTYPE GetSourceRange(ULONG32 start_line, ULONG32 start_column, ULONG32 end_line,
                                             ULONG32 end_column, ULONG32 capacity, ULONG32* count,
                                             BYTE* source) override;

private:
    ~symbol_document() override = default;
    void* find_interface(REFIID id) noexcept override;
    HRESULT unimplemented() const noexcept override;

    classic_reader::document read() const;
    HRESULT give_guid(GUID classic_reader::document::*field, GUID* result) noexcept;

    const std::shared_ptr<const symbol_file> file_;
    const std::uint32_t index_;
};

}  // namespace qv::symbols
