// What all COM objects of this library share: the count that keeps the library loaded, the boundary that no exception
// crosses, and the factory that makes them.
#pragma once

#include <objidl.h>

#include <atomic>
#include <mutex>
#include <new>
#include <utility>

#include "base/exception.h"
#include "common/com/counted_object.h"
#include "common/sdk_helpers.h"

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

// Makes an object's interface pointers good in every apartment of the process: COM hands them over as they are, and
// does not wrap them into a proxy that leads back to the apartment where the object was made. The system's part is made
// when it is first asked for, since few objects ever cross apartments.
class free_threaded_marshaler {
public:
    // Answers a query of `owner`, which the marshaler is a part of, for IMarshal.
    HRESULT query(IUnknown* owner, void** marshal) noexcept;

private:
    std::mutex mutex_;
    com_hld<IUnknown> aggregated_;
};

// An object that any thread of any apartment may use, made by make_object.
template <class First, class... Others>
class com_object : public com::counted_object<First, Others...> {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        if (object != nullptr && IsEqualGUID(id, IID_IMarshal))
            return marshaler_.query(static_cast<First*>(this), object);
        return com::counted_object<First, Others...>::QueryInterface(id, object);
    }

protected:
    ~com_object() override = default;

private:
    module_lock lock_;
    free_threaded_marshaler marshaler_;
};

template <class Object, class... Arguments>
com_hld<Object> make_object(Arguments&&... arguments) {
    return com_hld<Object>(new Object(std::forward<Arguments>(arguments)...));
}

// Makes the objects of one class of this library.
template <class Object>
class class_factory final : public com_object<IClassFactory> {
public:
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** object) override {
        if (object == nullptr) return E_POINTER;
        *object = nullptr;
        if (outer != nullptr) return CLASS_E_NOAGGREGATION;
        return guard([&] { return make_object<Object>()->QueryInterface(id, object); });
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
        if (lock != FALSE)
            module_lock::add();
        else
            module_lock::remove();
        return S_OK;
    }

private:
    ~class_factory() override = default;
};

}  // namespace qv::symbols
