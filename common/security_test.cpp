// The descriptor is taken apart with the system's own API, and held against what a pipe created with it reports.
#include "common/security.h"

#include <aclapi.h>
#include <gmock/gmock.h>
#include <sddl.h>

#include <sstream>
#include <string>
#include <vector>

#include "diagnostics/exception_test_support.h"
#include "tests/support/calls/replaced_import.h"

namespace qv::profiler {
namespace {

using lines = std::vector<std::string>;

std::string sid_text(PSID sid) {
    char* text = nullptr;
    if (!ConvertSidToStringSidA(sid, &text)) return "no SID";
    const unique_hld<char*, deleter_LocalFree> owner(text);
    return text;
}

// The entries as "type flags mask SID", the generic rights as those of files. Allow, deny and mandatory-label entries
// have one layout: header, mask, SID.
lines entries(PACL acl) {
    GENERIC_MAPPING files{FILE_GENERIC_READ, FILE_GENERIC_WRITE, FILE_GENERIC_EXECUTE, FILE_ALL_ACCESS};
    lines result;
    void* found = nullptr;
    for (DWORD i = 0; GetAce(acl, i, &found); ++i) {
        auto* ace = static_cast<ACCESS_ALLOWED_ACE*>(found);
        ACCESS_MASK mask = ace->Mask;
        MapGenericMask(&mask, &files);
        std::ostringstream text;
        text << int{ace->Header.AceType} << ' ' << int{ace->Header.AceFlags} << ' ' << std::hex << mask;
        result.push_back(text.str() + ' ' + sid_text(&ace->SidStart));
    }
    return result;
}

const lines dacl_entries = {"0 0 1f01ff S-1-5-32-544", "0 0 1f01ff S-1-5-18", "0 0 1f01ff S-1-3-0",
                            "0 0 12019f S-1-1-0",      "0 0 12019f S-1-5-7",  "0 0 12019f S-1-15-2-1"};
const lines sacl_entries = {"17 0 1 S-1-16-4096"};

TEST(DiamondAcl, ListsHaveNoSlack) {
    // Four SIDs of one sub-authority and two of two.
    EXPECT_EQ(security::create_diamond_dacl().get()->AclSize, 56 + 4 * 12 + 2 * 16);
    EXPECT_EQ(security::create_diamond_sacl().get()->AclSize, 16 + 12);
}

TEST(SecurityAttributes, PipeReportsTheDescriptorItWasCreatedWith) {
    handle_hld pipe;
    {
        security_attributes attributes;
        EXPECT_FALSE(attributes.get()->bInheritHandle);
        const auto name = L"\\\\.\\pipe\\qv_security_test_" + std::to_wstring(GetCurrentProcessId());
        pipe.reset(valid_handle_or_null(
            CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX, 0, 1, 256, 256, 1000, attributes.get())));
    }
    PACL dacl = nullptr, sacl = nullptr;
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR reported = nullptr;
    constexpr auto parts = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION;
    ASSERT_EQ(GetSecurityInfo(pipe.get(), SE_KERNEL_OBJECT, parts, &owner, nullptr, &dacl, &sacl, &reported),
              static_cast<DWORD>(ERROR_SUCCESS));
    const security_descriptor_hld holder(reported);
    // A system may name the owner in place of the creator.
    lines with_owner = dacl_entries;
    with_owner[2] = "0 0 1f01ff " + sid_text(owner);
    EXPECT_THAT(entries(dacl), testing::AnyOf(dacl_entries, with_owner));
    EXPECT_EQ(entries(sacl), sacl_entries);
}

// What the attributes say when one call of the system fails.
template <class Signature>
std::string failure_at(const char* call, int turn) {
    const test::failing_call<Signature> failing(call, turn);
    return test::message_of([] { security_attributes attributes; });
}

TEST(SecurityAttributes, FailingCallsAreNamed) {
    EXPECT_EQ(failure_at<decltype(AllocateAndInitializeSid)>("AllocateAndInitializeSid", 6),
              "Can't create CREATOR_OWNER user SID");
    EXPECT_EQ(failure_at<decltype(LocalAlloc)>("LocalAlloc", 1), "Can't alloc DACL buffer");
    EXPECT_EQ(failure_at<decltype(AddAccessAllowedAce)>("AddAccessAllowedAce", 3), "Can't add CREATOR_OWNER in DACL");
    EXPECT_EQ(failure_at<decltype(AddMandatoryAce)>("AddMandatoryAce", 1), "Can't add LOW_MANDATORY_LEVEL to SACL");
    EXPECT_EQ(failure_at<decltype(LocalAlloc)>("LocalAlloc", 3), "Can't allocate security descriptor");
}

}  // namespace
}  // namespace qv::profiler
