// The platform's interfaces to unmanaged symbols and the ids of the classes that offer them. Windows only.
//
// Names, ids and slot orders are the published ones of the symbol store (corsym). Counted outputs follow one contract:
// `capacity` elements fit into the buffer, which may be null, and `count` receives how many there are; texts count
// their terminator. Every interface pointer that is given back carries a reference for the caller. Slots whose types
// are not needed here take plain pointers.
//
// Objects implement the slots that they have an answer for. Every other slot empties its outputs and answers what
// unimplemented() says.
#pragma once

#include <objidl.h>

#include "common/com/interface_id.h"
#include "common/com/outputs.h"

namespace qv::com {

using token = ULONG32;

// The symbol binder of all runtimes but the first.
inline constexpr GUID clsid_symbol_binder{0x0A29FF9E, 0x7F9C, 0x4437, {0x8B, 0x11, 0xF4, 0x24, 0x49, 0x1E, 0x39, 0x31}};

// What every call on a symbol object answers after Destroy.
inline constexpr HRESULT e_sym_destroyed = static_cast<HRESULT>(0x8004DEAD);

struct ISymUnmanagedDocument : IUnknown {
    static constexpr GUID iid{0x40DE4037, 0x7C81, 0x3E1E, {0xB0, 0x22, 0xAE, 0x1A, 0xBF, 0xF2, 0xCA, 0x08}};

    virtual HRESULT STDMETHODCALLTYPE GetURL(ULONG32 capacity, ULONG32* count, WCHAR* url) {
        return refuse(unimplemented(), count, output_text(url, capacity));
    }
    virtual HRESULT STDMETHODCALLTYPE GetDocumentType(GUID* type) { return refuse(unimplemented(), type); }
    virtual HRESULT STDMETHODCALLTYPE GetLanguage(GUID* language) { return refuse(unimplemented(), language); }
    virtual HRESULT STDMETHODCALLTYPE GetLanguageVendor(GUID* vendor) { return refuse(unimplemented(), vendor); }
    // Zeros without a checksum.
    virtual HRESULT STDMETHODCALLTYPE GetCheckSumAlgorithmId(GUID* algorithm) {
        return refuse(unimplemented(), algorithm);
    }
    virtual HRESULT STDMETHODCALLTYPE GetCheckSum(ULONG32 /*capacity*/, ULONG32* count, BYTE* /*checksum*/) {
        return refuse(unimplemented(), count);
    }
    virtual HRESULT STDMETHODCALLTYPE FindClosestLine(ULONG32 /*line*/, ULONG32* closest) {
        return refuse(unimplemented(), closest);
    }
    virtual HRESULT STDMETHODCALLTYPE HasEmbeddedSource(BOOL* has_source) {
        return refuse(unimplemented(), has_source);
    }
    virtual HRESULT STDMETHODCALLTYPE GetSourceLength(ULONG32* length) { return refuse(unimplemented(), length); }
    virtual HRESULT STDMETHODCALLTYPE GetSourceRange(ULONG32 /*start_line*/, ULONG32 /*start_column*/,
                                                     ULONG32 /*end_line*/, ULONG32 /*end_column*/, ULONG32 /*capacity*/,
                                                     ULONG32* count, BYTE* /*source*/) {
        return refuse(unimplemented(), count);
    }

    // Behind the published slots.
    virtual HRESULT unimplemented() const noexcept { return E_NOTIMPL; }
};

struct ISymUnmanagedMethod : IUnknown {
    static constexpr GUID iid{0xB62B923C, 0xB500, 0x3158, {0xA5, 0x43, 0x24, 0xF3, 0x07, 0xA8, 0xB7, 0xE1}};

    virtual HRESULT STDMETHODCALLTYPE GetToken(token* method) { return refuse(unimplemented(), method); }
    virtual HRESULT STDMETHODCALLTYPE GetSequencePointCount(ULONG32* count) { return refuse(unimplemented(), count); }
    virtual HRESULT STDMETHODCALLTYPE GetRootScope(IUnknown** scope) { return refuse(unimplemented(), scope); }
    virtual HRESULT STDMETHODCALLTYPE GetScopeFromOffset(ULONG32 /*offset*/, IUnknown** scope) {
        return refuse(unimplemented(), scope);
    }
    virtual HRESULT STDMETHODCALLTYPE GetOffset(ISymUnmanagedDocument* /*document*/, ULONG32 /*line*/,
                                                ULONG32 /*column*/, ULONG32* offset) {
        return refuse(unimplemented(), offset);
    }
    virtual HRESULT STDMETHODCALLTYPE GetRanges(ISymUnmanagedDocument* /*document*/, ULONG32 /*line*/,
                                                ULONG32 /*column*/, ULONG32 /*capacity*/, ULONG32* count,
                                                ULONG32* /*ranges*/) {
        return refuse(unimplemented(), count);
    }
    virtual HRESULT STDMETHODCALLTYPE GetParameters(ULONG32 capacity, ULONG32* count, IUnknown** parameters) {
        return refuse(unimplemented(), count, output_array(parameters, capacity));
    }
    virtual HRESULT STDMETHODCALLTYPE GetNamespace(IUnknown** name_space) {
        return refuse(unimplemented(), name_space);
    }
    virtual HRESULT STDMETHODCALLTYPE GetSourceStartEnd(ISymUnmanagedDocument** documents, ULONG32* lines,
                                                        ULONG32* columns, BOOL* has_source) {
        return refuse(unimplemented(), output_array(documents, 2), output_array(lines, 2), output_array(columns, 2),
                      has_source);
    }
    // Any of the arrays may be null.
    virtual HRESULT STDMETHODCALLTYPE GetSequencePoints(ULONG32 capacity, ULONG32* count, ULONG32* /*offsets*/,
                                                        ISymUnmanagedDocument** documents, ULONG32* /*lines*/,
                                                        ULONG32* /*columns*/, ULONG32* /*end_lines*/,
                                                        ULONG32* /*end_columns*/) {
        return refuse(unimplemented(), count, output_array(documents, capacity));
    }

    // Behind the published slots.
    virtual HRESULT unimplemented() const noexcept { return E_NOTIMPL; }
};

struct ISymUnmanagedReader : IUnknown {
    static constexpr GUID iid{0xB4CE6286, 0x2A6B, 0x3712, {0xA3, 0xB7, 0x1E, 0xE1, 0xDA, 0xD4, 0x67, 0xB5}};

    virtual HRESULT STDMETHODCALLTYPE GetDocument(WCHAR* /*url*/, GUID /*language*/, GUID /*vendor*/, GUID /*type*/,
                                                  ISymUnmanagedDocument** document) {
        return refuse(unimplemented(), document);
    }
    virtual HRESULT STDMETHODCALLTYPE GetDocuments(ULONG32 capacity, ULONG32* count,
                                                   ISymUnmanagedDocument** documents) {
        return refuse(unimplemented(), count, output_array(documents, capacity));
    }
    virtual HRESULT STDMETHODCALLTYPE GetUserEntryPoint(token* method) { return refuse(unimplemented(), method); }
    virtual HRESULT STDMETHODCALLTYPE GetMethod(token /*method*/, ISymUnmanagedMethod** result) {
        return refuse(unimplemented(), result);
    }
    virtual HRESULT STDMETHODCALLTYPE GetMethodByVersion(token /*method*/, int /*version*/,
                                                         ISymUnmanagedMethod** result) {
        return refuse(unimplemented(), result);
    }
    virtual HRESULT STDMETHODCALLTYPE GetVariables(token /*parent*/, ULONG32 capacity, ULONG32* count,
                                                   IUnknown** variables) {
        return refuse(unimplemented(), count, output_array(variables, capacity));
    }
    virtual HRESULT STDMETHODCALLTYPE GetGlobalVariables(ULONG32 capacity, ULONG32* count, IUnknown** variables) {
        return refuse(unimplemented(), count, output_array(variables, capacity));
    }
    virtual HRESULT STDMETHODCALLTYPE GetMethodFromDocumentPosition(ISymUnmanagedDocument* /*document*/,
                                                                    ULONG32 /*line*/, ULONG32 /*column*/,
                                                                    ISymUnmanagedMethod** result) {
        return refuse(unimplemented(), result);
    }
    virtual HRESULT STDMETHODCALLTYPE GetSymAttribute(token /*parent*/, WCHAR* /*name*/, ULONG32 /*capacity*/,
                                                      ULONG32* count, BYTE* /*data*/) {
        return refuse(unimplemented(), count);
    }
    virtual HRESULT STDMETHODCALLTYPE GetNamespaces(ULONG32 capacity, ULONG32* count, IUnknown** namespaces) {
        return refuse(unimplemented(), count, output_array(namespaces, capacity));
    }
    virtual HRESULT STDMETHODCALLTYPE Initialize(IUnknown* /*importer*/, const WCHAR* /*file*/,
                                                 const WCHAR* /*search_path*/, IStream* /*stream*/) {
        return refuse(unimplemented());
    }
    virtual HRESULT STDMETHODCALLTYPE UpdateSymbolStore(const WCHAR* /*file*/, IStream* /*stream*/) {
        return refuse(unimplemented());
    }
    virtual HRESULT STDMETHODCALLTYPE ReplaceSymbolStore(const WCHAR* /*file*/, IStream* /*stream*/) {
        return refuse(unimplemented());
    }
    virtual HRESULT STDMETHODCALLTYPE GetSymbolStoreFileName(ULONG32 capacity, ULONG32* count, WCHAR* name) {
        return refuse(unimplemented(), count, output_text(name, capacity));
    }
    virtual HRESULT STDMETHODCALLTYPE GetMethodsFromDocumentPosition(ISymUnmanagedDocument* /*document*/,
                                                                     ULONG32 /*line*/, ULONG32 /*column*/,
                                                                     ULONG32 capacity, ULONG32* count,
                                                                     ISymUnmanagedMethod** methods) {
        return refuse(unimplemented(), count, output_array(methods, capacity));
    }
    virtual HRESULT STDMETHODCALLTYPE GetDocumentVersion(ISymUnmanagedDocument* /*document*/, int* version,
                                                         BOOL* is_current) {
        return refuse(unimplemented(), version, is_current);
    }
    virtual HRESULT STDMETHODCALLTYPE GetMethodVersion(ISymUnmanagedMethod* /*method*/, int* version) {
        return refuse(unimplemented(), version);
    }

    // Behind the published slots.
    virtual HRESULT unimplemented() const noexcept { return E_NOTIMPL; }
};

struct ISymUnmanagedBinder : IUnknown {
    static constexpr GUID iid{0xAA544D42, 0x28CB, 0x11D3, {0xBD, 0x22, 0x00, 0x00, 0xF8, 0x08, 0x49, 0xBD}};

    virtual HRESULT STDMETHODCALLTYPE GetReaderForFile(IUnknown* /*importer*/, const WCHAR* /*file*/,
                                                       const WCHAR* /*search_path*/, ISymUnmanagedReader** reader) {
        return refuse(E_NOTIMPL, reader);
    }
    virtual HRESULT STDMETHODCALLTYPE GetReaderFromStream(IUnknown* /*importer*/, IStream* /*stream*/,
                                                          ISymUnmanagedReader** reader) {
        return refuse(E_NOTIMPL, reader);
    }
};

struct ISymUnmanagedBinder2 : ISymUnmanagedBinder {
    static constexpr GUID iid{0xACCEE350, 0x89AF, 0x4CCB, {0x8B, 0x40, 0x1C, 0x2C, 0x4C, 0x6F, 0x94, 0x34}};

    // `policy` holds bits of search_policy (common/symbol_search.h).
    virtual HRESULT STDMETHODCALLTYPE GetReaderForFile2(IUnknown* importer, const WCHAR* file, const WCHAR* search_path,
                                                        ULONG32 policy, ISymUnmanagedReader** reader) = 0;
};

struct ISymUnmanagedSourceServerModule : IUnknown {
    static constexpr GUID iid{0x997DD0CC, 0xA76F, 0x4C82, {0x8D, 0x79, 0xEA, 0x87, 0x55, 0x9D, 0x27, 0xAD}};

    // The caller gives the data back with CoTaskMemFree.
    virtual HRESULT STDMETHODCALLTYPE GetSourceServerData(ULONG* size, BYTE** data) = 0;
};

struct ISymUnmanagedDispose : IUnknown {
    static constexpr GUID iid{0x969708D2, 0x05E5, 0x4861, {0xA3, 0xB0, 0x96, 0xE4, 0x73, 0xCD, 0xF6, 0x3F}};

    // Lets the symbol file go, whoever still holds the object.
    virtual HRESULT STDMETHODCALLTYPE Destroy() = 0;
};

}  // namespace qv::com
