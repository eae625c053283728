// The .NET runtime's host library, kept for the whole process. Windows only.
#pragma once

#include <windows.h>

namespace qv::profiler::pdb_server::clr_host {

// CLRCreateInstance as the runtime's hosting interface publishes it.
using create_instance_function = HRESULT(STDAPICALLTYPE*)(REFCLSID class_id, REFIID interface_id, void** result);

// Loads the system's "mscoree.dll" and looks the entry up; a library loaded before is released. A machine without the
// library or the entry is no error. Call it before other threads ask.
void load();

// The entry, or null where the machine has none.
create_instance_function create_instance();

}  // namespace qv::profiler::pdb_server::clr_host
