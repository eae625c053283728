#include "symbol_services/symbol_server/cabinet.h"

#include <windows.h>
// after <windows.h>
#include <fdi.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <memory>

#include "symbol_services/classic_reader/byte_source.h"
#include "symbol_services/symbol_server/cabinet_check.h"
#include "symbol_services/symbol_server/system_library.h"

namespace qv::symbol_store {
namespace {

constexpr INT_PTR failed = -1;

struct cabinet_functions {
    const system_library library{L"cabinet.dll"};
    decltype(&FDICreate) create = library.function<decltype(FDICreate)>("FDICreate");
    decltype(&FDICopy) copy = library.function<decltype(FDICopy)>("FDICopy");
    decltype(&FDIDestroy) destroy = library.function<decltype(FDIDestroy)>("FDIDestroy");

    bool are_there() const noexcept { return create && copy && destroy; }
};

// One unpacking. The API calls back on the thread that called it, but tells most functions nothing of whom they are
// for.
struct expansion {
    const classic_reader::byte_source& cabinet;
    temporary_file& target;
    std::uint64_t largest;
    bool has_file = false;
    std::uint64_t promised = 0;
    std::uint64_t written = 0;
};
thread_local expansion* current = nullptr;

// A handle of the API: a position in the cabinet, or the target where there is none.
struct stream {
    bool is_target;
    std::uint64_t position;
};

stream& to_stream(INT_PTR handle) noexcept {
    return *reinterpret_cast<stream*>(handle);  // NOLINT(performance-no-int-to-ptr)
}

INT_PTR make_stream(bool is_target) noexcept {
    auto* const made = new (std::nothrow) stream{is_target, 0};
    return made == nullptr ? failed : reinterpret_cast<INT_PTR>(made);
}

void* DIAMONDAPI allocate(ULONG size) noexcept {
    return std::malloc(size);  // NOLINT(*-no-malloc): as the API asks for it
}

void DIAMONDAPI release(void* memory) noexcept {
    std::free(memory);  // NOLINT(*-no-malloc)
}

// Only the cabinet itself is ever opened, whatever name comes.
INT_PTR DIAMONDAPI open_cabinet(char*, int, int) noexcept {
    return make_stream(false);
}

UINT DIAMONDAPI read_cabinet(INT_PTR handle, void* destination, UINT size) noexcept {
    try {
        auto& position = to_stream(handle).position;
        const auto left = current->cabinet.size() - std::min(position, current->cabinet.size());
        const auto count = static_cast<UINT>(std::min<std::uint64_t>(size, left));
        if (count != 0) current->cabinet.read(position, {static_cast<unsigned char*>(destination), count});
        position += count;
        return count;
    } catch (const std::exception&) {
        return static_cast<UINT>(failed);
    }
}

UINT DIAMONDAPI write_target(INT_PTR, void* source, UINT size) noexcept {
    current->written += size;
    const bool fits = current->written <= current->largest;
    return fits && current->target.write(source, size) ? size : static_cast<UINT>(failed);
}

int DIAMONDAPI close_stream(INT_PTR handle) noexcept {
    delete &to_stream(handle);
    return 0;
}

// By 32 bits: a cabinet has no more.
long DIAMONDAPI seek_cabinet(INT_PTR handle, long distance, int origin) noexcept {
    auto& position = to_stream(handle).position;
    const std::int64_t base = origin == SEEK_SET   ? 0
                              : origin == SEEK_CUR ? static_cast<std::int64_t>(position)
                                                   : static_cast<std::int64_t>(current->cabinet.size());
    const auto next = base + distance;
    if (next < 0 || next > LONG_MAX) return static_cast<long>(failed);
    position = static_cast<std::uint64_t>(next);
    return static_cast<long>(next);
}

INT_PTR DIAMONDAPI on_notification(FDINOTIFICATIONTYPE type, PFDINOTIFICATION notification) noexcept {
    switch (type) {
        case fdintCOPY_FILE:
            if (std::exchange(current->has_file, true)) return 0;
            current->promised = static_cast<ULONG>(notification->cb);
            return current->promised > current->largest ? failed : make_stream(true);
        case fdintCLOSE_FILE_INFO: close_stream(notification->hf); return TRUE;
        case fdintNEXT_CABINET: return failed;
        default: return 0;
    }
}

struct context_closer {
    using pointer = HFDI;
    void operator()(HFDI context) const noexcept { api.destroy(context); }
    const cabinet_functions& api;
};

std::wstring expand(const cabinet_functions& api, expansion& work) {
    ERF error = {};
    const std::unique_ptr<void, context_closer> context(
        api.create(&allocate, &release, &open_cabinet, &read_cabinet, &write_target, &close_stream, &seek_cabinet,
                   cpuUNKNOWN, &error),
        context_closer{api});
    if (!context) return L"the cabinet API fails";
    char name[] = "cabinet", directory[] = "";
    current = &work;
    const bool done = api.copy(context.get(), name, directory, 0, &on_notification, nullptr, nullptr) != FALSE;
    current = nullptr;
    if (done && work.has_file && work.written == work.promised) return {};
    if (work.promised > work.largest || work.written > work.largest) return L"too large when unpacked";
    return L"malformed cabinet, error " + std::to_wstring(error.erfOper);
}

}  // namespace

std::wstring expand_cabinet(const boost::filesystem::path& cabinet, temporary_file& to, std::uint64_t largest) {
    try {
        const auto* const api = system_functions<cabinet_functions>();
        if (api == nullptr) return L"compressed, and this system has no cabinet API";
        const auto source = classic_reader::open_disk_file(cabinet);
        if (auto fault = cabinet_fault(*source); !fault.empty()) return fault;
        expansion work{*source, to, largest};
        return expand(*api, work);
    } catch (const std::exception&) {
        return L"the cabinet cannot be read";
    }
}

}  // namespace qv::symbol_store
