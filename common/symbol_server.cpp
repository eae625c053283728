#include "common/symbol_server.h"

#include <array>
#include <cstdio>
#include <vector>

#include "text/path.h"

namespace qv::symbol_server {
namespace {

using set_options_function = BOOL(WINAPI*)(UINT_PTR options, ULONG64 data);

constexpr UINT_PTR ssrvopt_callback = 0x1;
constexpr UINT_PTR ssrvopt_guidptr = 0x8;  // the id is given as a pointer to a GUID
constexpr ULONG64 option_on = 1;

template <class Function>
Function entry_point(HMODULE library, const char* name) noexcept {
    // By way of a pointer to data: compilers warn of a cast between unlike function types.
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

// FNV-1a. Parameters that share a value wait for one another, no more.
std::uint64_t hash_of(const std::wstring& text) noexcept {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const wchar_t unit : text) hash = (hash ^ unit) * 0x100000001B3;
    return hash;
}

// The right to call with these parameters, waited for by the constructor. The mutex has a name because every module of
// the process that holds this code must find the same one.
class turn {
public:
    explicit turn(const std::wstring& parameters) {
        char name[64];
        std::snprintf(name, sizeof name, "Local\\qv-symbol-server-%08lx-%016llx",
                      static_cast<unsigned long>(GetCurrentProcessId()),
                      static_cast<unsigned long long>(hash_of(parameters)));
        mutex_.reset(CreateMutexA(nullptr, FALSE, name));
        if (mutex_ && WaitForSingleObject(mutex_.get(), INFINITE) == WAIT_FAILED) mutex_.reset();
    }
    ~turn() {
        if (mutex_) ReleaseMutex(mutex_.get());
    }
    turn(const turn&) = delete;
    turn& operator=(const turn&) = delete;

    explicit operator bool() const noexcept { return static_cast<bool>(mutex_); }

private:
    handle_hld mutex_;
};

}  // namespace

library::library(library_hld loaded)
    : library_(std::move(loaded)),
      find_(entry_point<find_function>(library_.get(), "SymbolServerW")),
      sized_find_(entry_point<sized_find_function>(library_.get(), "QvSymbolServerW")) {
    if (const auto set_options = entry_point<set_options_function>(library_.get(), "SymbolServerSetOptions"))
        set_options(ssrvopt_guidptr, option_on);
}

void library::set_callback(callback function) const {
    if (const auto set_options = entry_point<set_options_function>(library_.get(), "SymbolServerSetOptions"))
        set_options(ssrvopt_callback, reinterpret_cast<ULONG64>(function));
}

boost::filesystem::path library::find(const std::wstring& parameters, const std::wstring& file_name, const GUID& id,
                                      std::uint32_t age) const {
    GUID key = id;
    if (sized_find_ != nullptr) {
        std::vector<wchar_t> found(text::longest_path + 1);
        if (!sized_find_(parameters.c_str(), file_name.c_str(), &key, age, 0, found.data(), found.size())) return {};
        return boost::filesystem::path(found.data());
    }
    if (find_ == nullptr) return {};
    const turn mine(parameters);
    std::array<wchar_t, MAX_PATH + 1> found{};
    if (!mine || !find_(parameters.c_str(), file_name.c_str(), &key, age, 0, found.data())) return {};
    found.back() = L'\0';
    return boost::filesystem::path(found.data());
}

}  // namespace qv::symbol_server
