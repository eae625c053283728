#include "pdb_server/src/system/windows/clr_host.h"

#include "base/holders.h"

namespace qv::profiler::pdb_server::clr_host {
namespace {

struct host {
    library_hld library;
    create_instance_function create_instance = nullptr;
};

// Stays when the process ends: the runtime may be at work still.
host& instance() {
    static auto* const loaded = new host;
    return *loaded;
}

}  // namespace

void load() {
    auto& loaded = instance();
    // The system's own, whatever lies beside the program or on the search path.
    loaded.library.reset(LoadLibraryExW(L"mscoree.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
    // By way of a pointer to data: compilers warn of a cast between unlike function types.
    loaded.create_instance = !loaded.library ? nullptr
                                             : reinterpret_cast<create_instance_function>(reinterpret_cast<void*>(
                                                   GetProcAddress(loaded.library.get(), "CLRCreateInstance")));
}

create_instance_function create_instance() {
    return instance().create_instance;
}

}  // namespace qv::profiler::pdb_server::clr_host
