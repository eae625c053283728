// The two access control lists of the server's pipe: who may connect, and at which integrity level.
//
// The profiled process runs under any account, integrity level or application container, and must reach the pipe from
// there. Nobody but administrators, the system and the creator may change the pipe itself.
#pragma once

#include "base/holders.h"

namespace qv::profiler::security {

// One LocalAlloc block with the list in it, nothing behind it.
using acl_hld = unique_hld<PACL, deleter_LocalFree>;

// Six entries, in this order: administrators, the system and the creator with full control; everyone, anonymous callers
// and all application packages with reading and writing. Throws win32_error_exception.
acl_hld create_diamond_dacl();

// One mandatory label: Low, no write up. Throws win32_error_exception.
acl_hld create_diamond_sacl();

}  // namespace qv::profiler::security
