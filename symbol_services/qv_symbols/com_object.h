// What all COM objects of this library share: reference counts, the count that keeps the library loaded, and the
// boundary that no exception crosses.
#pragma once

#include <objidl.h>

#include <atomic>
#include <new>
#include <utility>

#include "common/sdk_helpers.h"
#include "qv/com/interface_id.h"
#include "qv/diagnostics/exception.h"
#include "symbol_services/qv_symbols/free_threaded_marshaler.h"

namespace qv::symbols {

// Keeps the library loaded while it lives.
class module_lock {
public:
    module_lock() noexcept { ++count_; }
    module_lock(const module_lock&) = delete;
    module_lock& operator=(const module_lock&) = delete;
    ~module_lock() { --count_; }

    static bool held() noexcept { return count_ != 0; }

    // For locks that have no object.
    static void add() noexcept { ++count_; }
    static void remove() noexcept { --count_; }

private:
    inline static std::atomic<long> count_{0};
};

// Runs a method's work and turns what it throws into its answer.
template <class Work>
HRESULT guard(Work&& work) noexcept {
    constexpr HRESULT bad_image_format = static_cast<HRESULT>(0x8007000B);
    try {
        return work();
    } catch (const hresult_exception& error) {
        const auto* code = error.find<errtag_hresult>();
        return code != nullptr && FAILED(*code) ? *code : E_FAIL;
    } catch (const win32_error_exception& error) {
        const auto* code = error.find<errtag_win32_error>();
        return code != nullptr && *code != 0 ? HRESULT_FROM_WIN32(*code) : E_FAIL;
    } catch (const qv::exception&) {
        return bad_image_format;  // the readers' findings about an image
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

// Implements IUnknown over the interfaces; the first one is the identity. Objects are made by make_object, begin with
// one reference, and may be used from any thread of any apartment.
template <class First, class... Others>
class com_object : public First, public Others... {
public:
    com_object() = default;
    com_object(const com_object&) = delete;
    com_object& operator=(const com_object&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        if (object == nullptr) return E_POINTER;
        if (IsEqualGUID(id, IID_IMarshal)) return marshaler_.query(static_cast<First*>(this), object);
        *object = IsEqualGUID(id, com::iid_of<IUnknown>) ? static_cast<First*>(this) : find_interface(id);
        if (*object == nullptr) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }

protected:
    virtual ~com_object() = default;

    // The interface of this id, without a reference; null where there is none.
    virtual void* find_interface(REFIID id) noexcept = 0;

private:
    module_lock lock_;
    free_threaded_marshaler marshaler_;
    std::atomic<ULONG> references_{1};
};

template <class Object, class... Arguments>
com_hld<Object> make_object(Arguments&&... arguments) {
    return com_hld<Object>(new Object(std::forward<Arguments>(arguments)...));
}

}  // namespace qv::symbols
