// The way to the platform's symbol reader. Windows only.
#pragma once

#include <objbase.h>

#include <exception>
#include <functional>
#include <memory>

#include "common/com/runtime_interfaces.h"
#include "common/com/symbol_interfaces.h"
#include "common/sdk_helpers.h"
#include "pdb_server/src/pdb_processor_dsr.h"

namespace qv::profiler::pdb_server {

// What the backend asks of COM and of the runtime's host library, as replaceable functions.
struct com_services {
    // CoCreateInstance of an object in this process.
    std::function<HRESULT(REFCLSID class_id, REFIID interface_id, void** object)> create_instance;

    // CLRCreateInstance; empty on a machine without it.
    std::function<HRESULT(REFCLSID class_id, REFIID interface_id, void** object)> clr_create_instance;

    // CoTaskMemFree.
    std::function<void(void* block)> task_mem_free;
};

struct dsr_data {
    com_services services;
    com_hld<com::ISymUnmanagedBinder2> binder;
    com_hld<com::IMetaDataDispenser> dispenser;
    std::exception_ptr failure;  // why the two above are missing
};

// dsr_init with services of the caller's choice. Kept is that there is no binder, no dispenser or no runtime to give
// one.
std::shared_ptr<dsr_data> dsr_init(const com_services& services);

}  // namespace qv::profiler::pdb_server
