// The symbol interfaces for objects that implement a part of them: every other slot answers what unimplemented() says.
// Windows only.
#pragma once

#include "qv/com/symbol_interfaces.h"

namespace qv::com {

struct unimplemented_document : ISymUnmanagedDocument {
    HRESULT STDMETHODCALLTYPE GetURL(ULONG32, ULONG32*, WCHAR*) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetDocumentType(GUID*) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetLanguage(GUID*) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetLanguageVendor(GUID*) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetCheckSumAlgorithmId(GUID*) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetCheckSum(ULONG32, ULONG32*, BYTE*) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE FindClosestLine(ULONG32, ULONG32*) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE HasEmbeddedSource(BOOL*) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetSourceLength(ULONG32*) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetSourceRange(ULONG32, ULONG32, ULONG32, ULONG32, ULONG32, ULONG32*, BYTE*) override {
        return unimplemented();
    }

protected:
    virtual HRESULT unimplemented() const noexcept { return E_NOTIMPL; }
};

struct unimplemented_method : ISymUnmanagedMethod {
    HRESULT STDMETHODCALLTYPE GetToken(token*) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetSequencePointCount(ULONG32*) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetRootScope(IUnknown**) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetScopeFromOffset(ULONG32, IUnknown**) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetOffset(ISymUnmanagedDocument*, ULONG32, ULONG32, ULONG32*) override {
        return unimplemented();
    }
    HRESULT STDMETHODCALLTYPE GetRanges(ISymUnmanagedDocument*, ULONG32, ULONG32, ULONG32, ULONG32*,
                                        ULONG32*) override {
        return unimplemented();
    }
    HRESULT STDMETHODCALLTYPE GetParameters(ULONG32, ULONG32*, IUnknown**) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetNamespace(IUnknown**) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetSourceStartEnd(ISymUnmanagedDocument**, ULONG32*, ULONG32*, BOOL*) override {
        return unimplemented();
    }
    HRESULT STDMETHODCALLTYPE GetSequencePoints(ULONG32, ULONG32*, ULONG32*, ISymUnmanagedDocument**, ULONG32*,
                                                ULONG32*, ULONG32*, ULONG32*) override {
        return unimplemented();
    }

protected:
    virtual HRESULT unimplemented() const noexcept { return E_NOTIMPL; }
};

struct unimplemented_reader : ISymUnmanagedReader {
    HRESULT STDMETHODCALLTYPE GetDocument(WCHAR*, GUID, GUID, GUID, ISymUnmanagedDocument**) override {
        return unimplemented();
    }
    HRESULT STDMETHODCALLTYPE GetDocuments(ULONG32, ULONG32*, ISymUnmanagedDocument**) override {
        return unimplemented();
    }
    HRESULT STDMETHODCALLTYPE GetUserEntryPoint(token*) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetMethod(token, ISymUnmanagedMethod**) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetMethodByVersion(token, int, ISymUnmanagedMethod**) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetVariables(token, ULONG32, ULONG32*, IUnknown**) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetGlobalVariables(ULONG32, ULONG32*, IUnknown**) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetMethodFromDocumentPosition(ISymUnmanagedDocument*, ULONG32, ULONG32,
                                                            ISymUnmanagedMethod**) override {
        return unimplemented();
    }
    HRESULT STDMETHODCALLTYPE GetSymAttribute(token, WCHAR*, ULONG32, ULONG32*, BYTE*) override {
        return unimplemented();
    }
    HRESULT STDMETHODCALLTYPE GetNamespaces(ULONG32, ULONG32*, IUnknown**) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE Initialize(IUnknown*, const WCHAR*, const WCHAR*, IStream*) override {
        return unimplemented();
    }
    HRESULT STDMETHODCALLTYPE UpdateSymbolStore(const WCHAR*, IStream*) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE ReplaceSymbolStore(const WCHAR*, IStream*) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetSymbolStoreFileName(ULONG32, ULONG32*, WCHAR*) override { return unimplemented(); }
    HRESULT STDMETHODCALLTYPE GetMethodsFromDocumentPosition(ISymUnmanagedDocument*, ULONG32, ULONG32, ULONG32,
                                                             ULONG32*, ISymUnmanagedMethod**) override {
        return unimplemented();
    }
    HRESULT STDMETHODCALLTYPE GetDocumentVersion(ISymUnmanagedDocument*, int*, BOOL*) override {
        return unimplemented();
    }
    HRESULT STDMETHODCALLTYPE GetMethodVersion(ISymUnmanagedMethod*, int*) override { return unimplemented(); }

protected:
    virtual HRESULT unimplemented() const noexcept { return E_NOTIMPL; }
};

}  // namespace qv::com
