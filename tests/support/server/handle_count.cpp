#include "tests/support/server/handle_count.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace qv::test {
namespace {

// As NtQuerySystemInformation gives it.
struct handle_list {
    static constexpr ULONG kind = 64;

    struct entry {
        void* object;
        ULONG_PTR process;
        ULONG_PTR handle;
        ULONG access;
        USHORT creator, type;
        ULONG attributes, reserved;
    };
    ULONG_PTR count;
    ULONG_PTR reserved;
    entry entries[1];
};

using query_function = LONG(NTAPI*)(ULONG kind, void* information, ULONG size, ULONG* needed);

}  // namespace

std::size_t count_handles(unsigned long process_id, void* unlike) {
    const auto query = reinterpret_cast<query_function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    std::vector<std::uint64_t> memory(1u << 14);
    ULONG size = 0;
    while (query(handle_list::kind, memory.data(), static_cast<ULONG>(memory.size() * 8), &size) < 0) {
        if (memory.size() > 1u << 24) throw std::runtime_error("the system does not list its handles");
        memory.resize(2 * memory.size());
    }
    const auto& list = *reinterpret_cast<const handle_list*>(memory.data());
    const handle_list::entry* const first = list.entries;
    const auto* const end = first + list.count;
    const auto* const other = std::find_if(first, end, [&](const auto& each) {
        return each.process == GetCurrentProcessId() && each.handle == reinterpret_cast<ULONG_PTR>(unlike);
    });
    return static_cast<std::size_t>(std::count_if(first, end, [&](const auto& each) {
        return each.process == process_id && (other == end || each.type != other->type);
    }));
}

}  // namespace qv::test
