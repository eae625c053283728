// What the classic backend asks of COM and of the runtime's host library, as replaceable functions. Windows only.
#pragma once

#include <objbase.h>

#include <functional>

namespace qv::profiler::pdb_server {

struct com_services {
    // CoCreateInstance of an object in this process.
    std::function<HRESULT(REFCLSID class_id, REFIID interface_id, void** object)> create_instance;

    // CLRCreateInstance; empty on a machine without it.
    std::function<HRESULT(REFCLSID class_id, REFIID interface_id, void** object)> clr_create_instance;

    // CoTaskMemFree.
    std::function<void(void* block)> task_mem_free;
};

// Those of the running system. Call it after the host library was looked for.
com_services system_com_services();

}  // namespace qv::profiler::pdb_server
