#include "common/symbol_server.h"

// After <windows.h>, whose types it uses.
#include <dbghelp.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cwchar>
#include <vector>

#include "text/path.h"

namespace qv::symbol_server {
namespace {

using set_options_function = BOOL(WINAPI*)(UINT_PTR options, ULONG64 data);

constexpr UINT_PTR ssrvopt_callbackw = 0x10000;  // newer than some headers
constexpr ULONG64 option_on = 1;

template <class Function>
Function entry_point(HMODULE library, const char* name) noexcept {
    // By way of a pointer to data: compilers warn of a cast between unlike function types.
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

std::atomic<decltype(library::callbacks::is_cancelled)> current_is_cancelled;
std::atomic<decltype(library::callbacks::hear)> current_hear;

// The start and the end of a line are the teller's own: libraries end theirs with line ends, and some begin them with
// the backspaces of a progress display.
void hear(std::wstring_view line) noexcept {
    const auto listener = current_hear.load();
    const auto first = line.find_first_not_of(L" \t\r\n\b");
    if (listener == nullptr || first == std::wstring_view::npos) return;
    try {
        listener(std::wstring(line.substr(first, line.find_last_not_of(L" \t\r\n\b") + 1 - first)));
    } catch (const std::bad_alloc&) {
        // One line less.
    }
}

void hear(const wchar_t* line) noexcept {
    hear(std::wstring_view(line, wcsnlen(line, text::longest_path)));
}

void hear(const char* line) noexcept {
    std::array<wchar_t, 4096> wide;
    const auto length = static_cast<int>(strnlen(line, wide.size()));
    const int units = MultiByteToWideChar(CP_ACP, 0, line, length, wide.data(), static_cast<int>(wide.size()));
    hear(std::wstring_view(wide.data(), static_cast<std::size_t>(units)));
}

// No address lies below: a library that passes the value itself in place of its address gets no answer.
constexpr ULONG64 lowest_address = 0x10000;

template <class Pointer>
Pointer as_pointer(ULONG64 data) noexcept {
    return reinterpret_cast<Pointer>(data);  // NOLINT(performance-no-int-to-ptr): published so
}

// The published callback of symbol-server libraries, with narrow texts or wide ones. What it does not know it leaves
// alone, and says so by FALSE.
template <class Char>
BOOL CALLBACK on_action(UINT_PTR action, ULONG64 data, ULONG64) {
    if (data < lowest_address) return FALSE;
    switch (action) {
        case SSRVACTION_QUERYCANCEL: *as_pointer<ULONG64*>(data) = current_is_cancelled.load()() ? 1 : 0; break;
        case SSRVACTION_TRACE: hear(as_pointer<const Char*>(data)); break;
        case SSRVACTION_EVENT:
            if (const auto* event = as_pointer<const IMAGEHLP_CBA_EVENT*>(data); event->desc != nullptr)
                hear(event->desc);
            break;
        default: return FALSE;
    }
    return TRUE;
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
        set_options(SSRVOPT_GUIDPTR, option_on);
}

void library::set_callbacks(const callbacks& functions) const {
    const auto set_options = entry_point<set_options_function>(library_.get(), "SymbolServerSetOptions");
    if (set_options == nullptr) return;
    current_is_cancelled = functions.is_cancelled;
    current_hear = functions.hear;
    if (sized_find_ != nullptr)
        set_options(ssrvopt_callbackw, reinterpret_cast<ULONG64>(&on_action<wchar_t>));
    else
        set_options(SSRVOPT_CALLBACK, reinterpret_cast<ULONG64>(&on_action<char>));
    if (functions.hear != nullptr) set_options(SSRVOPT_TRACE, option_on);
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
