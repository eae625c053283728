// The way to the platform's symbol reader. Windows only.
#pragma once

#include <exception>
#include <memory>

#include "common/sdk_helpers.h"
#include "pdb_server/src/dsr/com_services.h"
#include "pdb_server/src/pdb_processor_dsr.h"
#include "qv/com/runtime_interfaces.h"
#include "qv/com/symbol_interfaces.h"

namespace qv::profiler::pdb_server {

struct dsr_data {
    com_services services;
    com_hld<com::ISymUnmanagedBinder2> binder;
    com_hld<com::IMetaDataDispenser> dispenser;
    std::exception_ptr failure;  // why the two above are missing
};

// dsr_init with services of the caller's choice. The failures kept are "Can't create symbol binder", "Runtime with
// metadata dispenser was not found", "Can't get metadata dispemnser" and "Can't create metadata dispenser".
std::shared_ptr<dsr_data> dsr_init(const com_services& services);

}  // namespace qv::profiler::pdb_server
