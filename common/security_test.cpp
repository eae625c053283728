// The descriptor is taken apart with the system's own API, and held against what a pipe created with it reports.
#include "common/security.h"

#include <aclapi.h>
#include <gtest/gtest.h>
#include <sddl.h>

#include <string>
#include <vector>

#include "qv/diagnostics/exception.h"
#include "tests/support/calls/replaced_import.h"

namespace qv::profiler {
namespace {

std::string sid_text(PSID sid) {
    char* text = nullptr;
    if (!ConvertSidToStringSidA(sid, &text)) return "no SID";
    const unique_hld<char*, deleter_LocalFree> owner(text);
    return text;
}

struct entry {
    unsigned type;
    unsigned flags;
    ACCESS_MASK mask;
    std::string sid;
    bool operator==(const entry&) const = default;
};

void PrintTo(const entry& value, std::ostream* out) {
    *out << "{type " << value.type << ", flags " << value.flags << ", mask " << std::hex << value.mask << ", "
         << value.sid << "}";
}

// Allow, deny and mandatory-label entries have one layout: header, mask, SID.
std::vector<entry> entries(PACL acl) {
    std::vector<entry> result;
    void* found = nullptr;
    for (DWORD i = 0; GetAce(acl, i, &found); ++i) {
        auto* ace = static_cast<ACCESS_ALLOWED_ACE*>(found);
        result.push_back({ace->Header.AceType, ace->Header.AceFlags, ace->Mask, sid_text(&ace->SidStart)});
    }
    return result;
}

ACL_SIZE_INFORMATION sizes(PACL acl) {
    ACL_SIZE_INFORMATION info{};
    EXPECT_TRUE(GetAclInformation(acl, &info, sizeof info, AclSizeInformation));
    return info;
}

constexpr unsigned allow = ACCESS_ALLOWED_ACE_TYPE;
constexpr unsigned label = SYSTEM_MANDATORY_LABEL_ACE_TYPE;

TEST(DiamondAcl, DaclHoldsSixEntriesInOrderWithoutSlack) {
    const auto dacl = security::create_diamond_dacl();
    EXPECT_TRUE(IsValidAcl(dacl.get()));
    EXPECT_EQ(entries(dacl.get()), (std::vector<entry>{{allow, 0, 0x101F0000, "S-1-5-32-544"},
                                                       {allow, 0, 0x101F0000, "S-1-5-18"},
                                                       {allow, 0, 0x101F0000, "S-1-3-0"},
                                                       {allow, 0, 0xC0120000, "S-1-1-0"},
                                                       {allow, 0, 0xC0120000, "S-1-5-7"},
                                                       {allow, 0, 0xC0120000, "S-1-15-2-1"}}));
    // Four SIDs of one sub-authority and two of two.
    EXPECT_EQ(dacl.get()->AclSize, 56 + 4 * 12 + 2 * 16);
    EXPECT_EQ(dacl.get()->AclRevision, 2);
    EXPECT_EQ(sizes(dacl.get()).AclBytesFree, 0u);
    EXPECT_EQ(LocalSize(dacl.get()), dacl.get()->AclSize);
}

TEST(DiamondAcl, SaclIsOneLowLabelWithoutSlack) {
    const auto sacl = security::create_diamond_sacl();
    EXPECT_TRUE(IsValidAcl(sacl.get()));
    EXPECT_EQ(entries(sacl.get()), (std::vector<entry>{{label, 0, SYSTEM_MANDATORY_LABEL_NO_WRITE_UP, "S-1-16-4096"}}));
    EXPECT_EQ(sacl.get()->AclSize, 16 + 12);
    EXPECT_EQ(sacl.get()->AclRevision, 2);
    EXPECT_EQ(sizes(sacl.get()).AclBytesFree, 0u);
}

TEST(SecurityDescriptor, PointsIntoBothListsAsPresentAndNotDefaulted) {
    const auto dacl = security::create_diamond_dacl();
    const auto sacl = security::create_diamond_sacl();
    const auto descriptor = create_security_descriptpor(dacl, sacl);
    ASSERT_TRUE(IsValidSecurityDescriptor(descriptor.get()));
    EXPECT_EQ(LocalSize(descriptor.get()), 40u);

    BOOL present = FALSE;
    BOOL defaulted = TRUE;
    PACL found = nullptr;
    ASSERT_TRUE(GetSecurityDescriptorDacl(descriptor.get(), &present, &found, &defaulted));
    EXPECT_TRUE(present && !defaulted);
    EXPECT_EQ(found, dacl.get());
    ASSERT_TRUE(GetSecurityDescriptorSacl(descriptor.get(), &present, &found, &defaulted));
    EXPECT_TRUE(present && !defaulted);
    EXPECT_EQ(found, sacl.get());

    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    ASSERT_TRUE(GetSecurityDescriptorControl(descriptor.get(), &control, &revision));
    EXPECT_EQ(control, SE_DACL_PRESENT | SE_SACL_PRESENT);
    EXPECT_EQ(revision, 1u);
}

// A system may keep generic rights as given or map them to those of files when it creates the pipe.
ACCESS_MASK mapped(ACCESS_MASK mask) {
    GENERIC_MAPPING files{FILE_GENERIC_READ, FILE_GENERIC_WRITE, FILE_GENERIC_EXECUTE, FILE_ALL_ACCESS};
    MapGenericMask(&mask, &files);
    return mask;
}

TEST(SecurityAttributes, PipeReportsTheDescriptorItWasCreatedWith) {
    handle_hld pipe;
    {
        security_attributes attributes;
        EXPECT_EQ(attributes.get()->nLength, 24u);
        EXPECT_FALSE(attributes.get()->bInheritHandle);
        pipe.reset(valid_handle_or_null(CreateNamedPipeW(L"\\\\.\\pipe\\qv_security_test", PIPE_ACCESS_DUPLEX, 0, 1,
                                                         256, 256, 1000, attributes.get())));
    }
    ASSERT_TRUE(pipe);

    PACL dacl = nullptr;
    PACL sacl = nullptr;
    PSECURITY_DESCRIPTOR reported = nullptr;
    ASSERT_EQ(GetSecurityInfo(pipe.get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION,
                              nullptr, nullptr, &dacl, &sacl, &reported),
              static_cast<DWORD>(ERROR_SUCCESS));
    const security_descriptor_hld owner(reported);
    ASSERT_NE(dacl, nullptr);
    auto found = entries(dacl);
    for (auto& each : found) each.mask = mapped(each.mask);
    constexpr ACCESS_MASK read_write = FILE_GENERIC_READ | FILE_GENERIC_WRITE;
    EXPECT_EQ(found, (std::vector<entry>{{allow, 0, FILE_ALL_ACCESS, "S-1-5-32-544"},
                                         {allow, 0, FILE_ALL_ACCESS, "S-1-5-18"},
                                         {allow, 0, FILE_ALL_ACCESS, "S-1-3-0"},
                                         {allow, 0, read_write, "S-1-1-0"},
                                         {allow, 0, read_write, "S-1-5-7"},
                                         {allow, 0, read_write, "S-1-15-2-1"}}));
    ASSERT_NE(sacl, nullptr);
    EXPECT_EQ(entries(sacl), (std::vector<entry>{{label, 0, SYSTEM_MANDATORY_LABEL_NO_WRITE_UP, "S-1-16-4096"}}));
}

// What the attributes say when one call of the system fails.
template <class Signature>
std::string failure_at(const char* call, int turn) {
    const test::failing_call<Signature> failing(call, turn);
    try {
        security_attributes attributes;
    } catch (const win32_error_exception& error) {
        return std::string(error.what()) + " (" + std::to_string(*error.find<errtag_win32_error>()) + ") " +
               error.where().source;
    } catch (const exception& error) {
        return std::string(error.what()) + " " + error.where().source;
    }
    return "nothing";
}

#define QV_FAILURE_AT(call, turn) failure_at<decltype(call)>(#call, turn)

TEST(SecurityAttributes, EveryFailingCallHasItsText) {
    const struct {
        std::string found;
        const char* message;
    } lists[] = {
        {QV_FAILURE_AT(AllocateAndInitializeSid, 1), "Can't create BUILTIN_ADMINISTRATORS group SID"},
        {QV_FAILURE_AT(AllocateAndInitializeSid, 2), "Can't create LOCAL_SYSTEM user SID"},
        {QV_FAILURE_AT(AllocateAndInitializeSid, 3), "Can't create ANONYMOUS group SID"},
        {QV_FAILURE_AT(AllocateAndInitializeSid, 4), "Can't create ALL_APP_PACKAGES group SID"},
        {QV_FAILURE_AT(AllocateAndInitializeSid, 5), "Can't create EVERYONE group SID"},
        {QV_FAILURE_AT(AllocateAndInitializeSid, 6), "Can't create CREATOR_OWNER user SID"},
        {QV_FAILURE_AT(AllocateAndInitializeSid, 7), "Can't create LOW_MANDATORY_LEVEL group SID"},
        {QV_FAILURE_AT(LocalAlloc, 1), "Can't alloc DACL buffer"},
        {QV_FAILURE_AT(InitializeAcl, 1), "Can't initialize DACL"},
        {QV_FAILURE_AT(AddAccessAllowedAce, 1), "Can't add BUILTIN_ADMINISTRATORS in DACL"},
        {QV_FAILURE_AT(AddAccessAllowedAce, 2), "Can't add LOCAL_SYSTEM in DACL"},
        {QV_FAILURE_AT(AddAccessAllowedAce, 3), "Can't add CREATOR_OWNER in DACL"},
        {QV_FAILURE_AT(AddAccessAllowedAce, 4), "Can't add EVERYONE in DACL"},
        {QV_FAILURE_AT(AddAccessAllowedAce, 5), "Can't add ANONYMOUS in DACL"},
        {QV_FAILURE_AT(AddAccessAllowedAce, 6), "Can't add ALL_APP_PACKAGES in DACL"},
        {QV_FAILURE_AT(LocalAlloc, 2), "Can't alloc SACL buffer"},
        {QV_FAILURE_AT(InitializeAcl, 2), "Can't initialize SACL"},
        {QV_FAILURE_AT(AddMandatoryAce, 1), "Can't add LOW_MANDATORY_LEVEL to SACL"},
    };
    for (const auto& [found, message] : lists) EXPECT_EQ(found, std::string(message) + " (8) common/diamond_acl");
    // The only one without a code.
    EXPECT_EQ(QV_FAILURE_AT(LocalAlloc, 3), "Can't allocate security descriptor common/security");
    EXPECT_EQ(QV_FAILURE_AT(InitializeSecurityDescriptor, 1),
              "Can't initialize security descriptor (8) common/security");
    EXPECT_EQ(QV_FAILURE_AT(SetSecurityDescriptorDacl, 1), "Can't set DACL to security descriptor (8) common/security");
    EXPECT_EQ(QV_FAILURE_AT(SetSecurityDescriptorSacl, 1), "Can't set SACL to security descriptor (8) common/security");
}

#undef QV_FAILURE_AT

}  // namespace
}  // namespace qv::profiler
