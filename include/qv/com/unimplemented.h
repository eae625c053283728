// The symbol interfaces with every slot answering E_NOTIMPL, for objects that implement a part of them. Windows only.
#pragma once

#include "qv/com/symbol_interfaces.h"

namespace qv::com {

struct unimplemented_document : ISymUnmanagedDocument {
    HRESULT STDMETHODCALLTYPE GetURL(ULONG32, ULONG32*, WCHAR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDocumentType(GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetLanguage(GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetLanguageVendor(GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCheckSumAlgorithmId(GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCheckSum(ULONG32, ULONG32*, BYTE*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FindClosestLine(ULONG32, ULONG32*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE HasEmbeddedSource(BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSourceLength(ULONG32*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSourceRange(ULONG32, ULONG32, ULONG32, ULONG32, ULONG32, ULONG32*, BYTE*) override {
        return E_NOTIMPL;
    }
};

struct unimplemented_method : ISymUnmanagedMethod {
    HRESULT STDMETHODCALLTYPE GetToken(token*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSequencePointCount(ULONG32*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRootScope(IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetScopeFromOffset(ULONG32, IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetOffset(ISymUnmanagedDocument*, ULONG32, ULONG32, ULONG32*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetRanges(ISymUnmanagedDocument*, ULONG32, ULONG32, ULONG32, ULONG32*,
                                        ULONG32*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetParameters(ULONG32, ULONG32*, IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNamespace(IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSourceStartEnd(ISymUnmanagedDocument**, ULONG32*, ULONG32*, BOOL*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetSequencePoints(ULONG32, ULONG32*, ULONG32*, ISymUnmanagedDocument**, ULONG32*,
                                                ULONG32*, ULONG32*, ULONG32*) override {
        return E_NOTIMPL;
    }
};

struct unimplemented_reader : ISymUnmanagedReader {
    HRESULT STDMETHODCALLTYPE GetDocument(WCHAR*, GUID, GUID, GUID, ISymUnmanagedDocument**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetDocuments(ULONG32, ULONG32*, ISymUnmanagedDocument**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetUserEntryPoint(token*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMethod(token, ISymUnmanagedMethod**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMethodByVersion(token, int, ISymUnmanagedMethod**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetVariables(token, ULONG32, ULONG32*, IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetGlobalVariables(ULONG32, ULONG32*, IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMethodFromDocumentPosition(ISymUnmanagedDocument*, ULONG32, ULONG32,
                                                            ISymUnmanagedMethod**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetSymAttribute(token, WCHAR*, ULONG32, ULONG32*, BYTE*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNamespaces(ULONG32, ULONG32*, IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Initialize(IUnknown*, const WCHAR*, const WCHAR*, IStream*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE UpdateSymbolStore(const WCHAR*, IStream*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ReplaceSymbolStore(const WCHAR*, IStream*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSymbolStoreFileName(ULONG32, ULONG32*, WCHAR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMethodsFromDocumentPosition(ISymUnmanagedDocument*, ULONG32, ULONG32, ULONG32,
                                                             ULONG32*, ISymUnmanagedMethod**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetDocumentVersion(ISymUnmanagedDocument*, int*, BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMethodVersion(ISymUnmanagedMethod*, int*) override { return E_NOTIMPL; }
};

}  // namespace qv::com
