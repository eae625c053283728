// The security that every instance of the server's pipe is created with: who may connect, and at which integrity level.
//
// The profiled process runs under any account, integrity level or application container, and must reach the pipe from
// there. Nobody but administrators, the system and the creator may change the pipe itself. What the system refuses is
// thrown as win32_error_exception.
#pragma once

#include "base/holders.h"

namespace qv::profiler::security {

// One LocalAlloc block with the list in it, nothing behind it.
using acl_hld = unique_hld<PACL, deleter_LocalFree>;

// Six entries, in this order: administrators, the system and the creator with full control; everyone, anonymous callers
// and all application packages with reading and writing.
acl_hld create_diamond_dacl();

// One mandatory label: Low, no write up.
acl_hld create_diamond_sacl();

}  // namespace qv::profiler::security

namespace qv::profiler {

// One LocalAlloc block with an absolute descriptor in it.
using security_descriptor_hld = unique_hld<PSECURITY_DESCRIPTOR, deleter_LocalFree>;

// A descriptor that points into the two lists, which must outlive it. Throws qv::exception for want of memory.
security_descriptor_hld create_security_descriptpor(const security::acl_hld& dacl, const security::acl_hld& sacl);

// The descriptor and its lists, in the form in which objects are created. Needed only during the creating call.
class security_attributes {
public:
    security_attributes();
    security_attributes(const security_attributes&) = delete;
    security_attributes& operator=(const security_attributes&) = delete;

    SECURITY_ATTRIBUTES* get() noexcept { return &attributes_; }

private:
    security::acl_hld dacl_;
    security::acl_hld sacl_;
    security_descriptor_hld descriptor_;
    SECURITY_ATTRIBUTES attributes_;
};

}  // namespace qv::profiler
