#include "pdb_server/src/system/windows/clr_host.h"

#include "common/holders.h"

namespace qv::profiler::pdb_server::clr_host {
namespace {

struct host {
    library_hld library;
    create_instance_function create_instance = nullptr;
};

host& instance() noexcept {
    static host loaded;
    return loaded;
}

}  // namespace

void load() {
    auto& loaded = instance();
    loaded.library.reset(LoadLibraryW(L"mscoree.dll"));
    // By way of a pointer to data: compilers warn of a cast between unlike function types.
    loaded.create_instance = !loaded.library ? nullptr
                                             : reinterpret_cast<create_instance_function>(reinterpret_cast<void*>(
                                                   GetProcAddress(loaded.library.get(), "CLRCreateInstance")));
}

create_instance_function create_instance() noexcept {
    return instance().create_instance;
}

}  // namespace qv::profiler::pdb_server::clr_host
