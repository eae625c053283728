#include "common/security.h"

#include <array>
#include <cstddef>

#include "base/exception.h"

namespace qv::profiler::security {
namespace {

using sid_hld = unique_hld<PSID, deleter_FreeSid>;

constexpr const char* source = "common/diamond_acl";
constexpr throw_site dacl_site{
    "class qv::unique_hld<struct _ACL *,struct qv::deleter_LocalFree> __cdecl "
    "qv::profiler::security::create_diamond_dacl(void)",
    source};
constexpr throw_site sacl_site{
    "class qv::unique_hld<struct _ACL *,struct qv::deleter_LocalFree> __cdecl "
    "qv::profiler::security::create_diamond_sacl(void)",
    source};

constexpr ACCESS_MASK full_control = GENERIC_ALL | STANDARD_RIGHTS_ALL;
constexpr ACCESS_MASK read_write = GENERIC_READ | GENERIC_WRITE | READ_CONTROL | SYNCHRONIZE;
static_assert(full_control == 0x101F0000);
static_assert(read_write == 0xC0120000);

// An entry holds the first word of its SID already.
constexpr DWORD access_entry_size = sizeof(ACCESS_ALLOWED_ACE) - sizeof(DWORD);
constexpr DWORD label_entry_size = sizeof(SYSTEM_MANDATORY_LABEL_ACE) - sizeof(DWORD);

struct sid_spec {
    SID_IDENTIFIER_AUTHORITY authority;
    BYTE count;
    std::array<DWORD, 2> sub_authorities;
    const char* create_failure;
};

// A SID with what its entry in the DACL says.
struct access_spec {
    sid_spec sid;
    ACCESS_MASK mask;
    const char* add_failure;
};

// In the order in which the SIDs are built.
constexpr std::array<access_spec, 6> access_specs{{
    {{SECURITY_NT_AUTHORITY,
      2,
      {SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS},
      "Can't create BUILTIN_ADMINISTRATORS group SID"},
     full_control,
     "Can't add BUILTIN_ADMINISTRATORS in DACL"},
    {{SECURITY_NT_AUTHORITY, 1, {SECURITY_LOCAL_SYSTEM_RID, 0}, "Can't create LOCAL_SYSTEM user SID"},
     full_control,
     "Can't add LOCAL_SYSTEM in DACL"},
    {{SECURITY_NT_AUTHORITY, 1, {SECURITY_ANONYMOUS_LOGON_RID, 0}, "Can't create ANONYMOUS group SID"},
     read_write,
     "Can't add ANONYMOUS in DACL"},
    {{SECURITY_APP_PACKAGE_AUTHORITY,
      SECURITY_BUILTIN_APP_PACKAGE_RID_COUNT,
      {SECURITY_APP_PACKAGE_BASE_RID, SECURITY_BUILTIN_PACKAGE_ANY_PACKAGE},
      "Can't create ALL_APP_PACKAGES group SID"},
     read_write,
     "Can't add ALL_APP_PACKAGES in DACL"},
    {{SECURITY_WORLD_SID_AUTHORITY, 1, {SECURITY_WORLD_RID, 0}, "Can't create EVERYONE group SID"},
     read_write,
     "Can't add EVERYONE in DACL"},
    {{SECURITY_CREATOR_SID_AUTHORITY, 1, {SECURITY_CREATOR_OWNER_RID, 0}, "Can't create CREATOR_OWNER user SID"},
     full_control,
     "Can't add CREATOR_OWNER in DACL"},
}};

// In the order of the entries: indexes into access_specs.
constexpr std::array<std::size_t, 6> entry_order{0, 1, 5, 4, 2, 3};

constexpr sid_spec low_label{SECURITY_MANDATORY_LABEL_AUTHORITY,
                             1,
                             {SECURITY_MANDATORY_LOW_RID, 0},
                             "Can't create LOW_MANDATORY_LEVEL group SID"};

[[noreturn]] void fail(const char* message, const throw_location& where) {
    throw_win32_error(message, GetLastError(), where);
}

sid_hld create_sid(const sid_spec& spec, const throw_location& where) {
    auto authority = spec.authority;
    PSID sid = nullptr;
    if (!AllocateAndInitializeSid(&authority, spec.count, spec.sub_authorities[0], spec.sub_authorities[1], 0, 0, 0, 0,
                                  0, 0, &sid))
        fail(spec.create_failure, where);
    return sid_hld(sid);
}

}  // namespace

acl_hld create_diamond_dacl() {
    std::array<sid_hld, access_specs.size()> sids;
    for (std::size_t i = 0; i < sids.size(); ++i) sids[i] = create_sid(access_specs[i].sid, dacl_site);

    DWORD size = sizeof(ACL);
    for (const auto& sid : sids) size += access_entry_size + GetLengthSid(sid.get());
    acl_hld acl(static_cast<PACL>(LocalAlloc(LPTR, size)));
    if (!acl) fail("Can't alloc DACL buffer", dacl_site);
    if (!InitializeAcl(acl.get(), size, ACL_REVISION)) fail("Can't initialize DACL", dacl_site);

    for (const std::size_t i : entry_order)
        if (!AddAccessAllowedAce(acl.get(), ACL_REVISION, access_specs[i].mask, sids[i].get()))
            fail(access_specs[i].add_failure, dacl_site);
    return acl;
}

acl_hld create_diamond_sacl() {
    const sid_hld sid = create_sid(low_label, sacl_site);
    const DWORD size = static_cast<DWORD>(sizeof(ACL)) + label_entry_size + GetLengthSid(sid.get());
    acl_hld acl(static_cast<PACL>(LocalAlloc(LPTR, size)));
    if (!acl) fail("Can't alloc SACL buffer", sacl_site);
    if (!InitializeAcl(acl.get(), size, ACL_REVISION)) fail("Can't initialize SACL", sacl_site);
    if (!AddMandatoryAce(acl.get(), ACL_REVISION, 0, SYSTEM_MANDATORY_LABEL_NO_WRITE_UP, sid.get()))
        fail("Can't add LOW_MANDATORY_LEVEL to SACL", sacl_site);
    return acl;
}

}  // namespace qv::profiler::security

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
