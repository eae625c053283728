#include "common/security.h"

#include "qv/diagnostics/exception.h"

namespace qv::profiler {
namespace {

constexpr throw_site here{
    "class qv::unique_hld<void *,struct qv::deleter_LocalFree> __cdecl qv::profiler::create_security_descriptpor(const "
    "class qv::unique_hld<struct _ACL *,struct qv::deleter_LocalFree> &,const class qv::unique_hld<struct _ACL "
    "*,struct qv::deleter_LocalFree> &)",
    "common/security"};

static_assert(SECURITY_DESCRIPTOR_MIN_LENGTH == 40);
static_assert(sizeof(SECURITY_ATTRIBUTES) == 24);

}  // namespace

security_descriptor_hld create_security_descriptpor(const security::acl_hld& dacl, const security::acl_hld& sacl) {
    security_descriptor_hld descriptor(LocalAlloc(LPTR, SECURITY_DESCRIPTOR_MIN_LENGTH));
    if (!descriptor) throw_error("Can't allocate security descriptor", here);
    if (!InitializeSecurityDescriptor(descriptor.get(), SECURITY_DESCRIPTOR_REVISION))
        throw_win32_error("Can't initialize security descriptor", GetLastError(), here);
    if (!SetSecurityDescriptorDacl(descriptor.get(), TRUE, dacl.get(), FALSE))
        throw_win32_error("Can't set DACL to security descriptor", GetLastError(), here);
    if (!SetSecurityDescriptorSacl(descriptor.get(), TRUE, sacl.get(), FALSE))
        throw_win32_error("Can't set SACL to security descriptor", GetLastError(), here);
    return descriptor;
}

security_attributes::security_attributes()
    : dacl_(security::create_diamond_dacl()),
      sacl_(security::create_diamond_sacl()),
      descriptor_(create_security_descriptpor(dacl_, sacl_)),
      attributes_{sizeof(SECURITY_ATTRIBUTES), descriptor_.get(), FALSE} {}

}  // namespace qv::profiler
