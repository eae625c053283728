// The security descriptor that every instance of the server's pipe is created with.
#pragma once

#include "common/diamond_acl.h"

namespace qv::profiler {

// One LocalAlloc block with an absolute descriptor in it.
using security_descriptor_hld = unique_hld<PSECURITY_DESCRIPTOR, deleter_LocalFree>;

// A descriptor that points into the two lists, which must outlive it. Throws "Can't allocate security descriptor"
// without a code, and win32_error_exception for what the system refuses.
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
