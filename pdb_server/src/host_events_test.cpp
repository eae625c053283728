#include "pdb_server/src/host_events.h"

#include <gtest/gtest.h>

#include "diagnostics/exception_test_support.h"

namespace qv::profiler::pdb_server {
namespace {

const std::wstring name = L"qv_host_events_" + std::to_wstring(GetCurrentProcessId());

handle_hld make_event(const std::wstring& event_name, bool manual_reset) {
    return handle_hld(CreateEventW(nullptr, manual_reset, FALSE, event_name.c_str()));
}

bool is_set(const handle_hld& event) {
    return WaitForSingleObject(event.get(), 0) == WAIT_OBJECT_0;
}

TEST(ReadySignal, SetsTheEventOfTheWaitingHostInWhateverSession) {
    EXPECT_FALSE(set_external_ready_signal(name)) << "nobody waits";
    EXPECT_FALSE(set_external_ready_signal(L"no\\such\\directory"));
    for (const wchar_t* prefix : {L"", L"Local\\", L"Global\\"}) {
        const auto event = make_event(prefix + name + L"_ready", true);
        EXPECT_FALSE(is_set(event));
        EXPECT_TRUE(set_external_ready_signal(name));
        EXPECT_TRUE(is_set(event));
    }
}

TEST(ExternalStopRequest, HearsAnEventOfTheHostAndRemembersIt) {
    const auto event = make_event(name, false);
    external_stop_request request(name), deaf(L"");
    EXPECT_FALSE(request.requested());
    SetEvent(event.get());
    EXPECT_TRUE(request.requested());
    EXPECT_TRUE(request.requested()) << "asking has reset the event";
    EXPECT_FALSE(deaf.requested());
}

TEST(ExternalStopRequest, CreatesTheEventForAHostThatComesLater) {
    external_stop_request request(name);
    const handle_hld event(OpenEventW(EVENT_MODIFY_STATE, FALSE, name.c_str()));
    ASSERT_TRUE(event);
    EXPECT_FALSE(request.requested());
    SetEvent(event.get());
    EXPECT_TRUE(request.requested());
}

TEST(HostEvents, NamesOfAnotherKindOfObjectFail) {
    const handle_hld ready(CreateMutexW(nullptr, FALSE, (name + L"_ready").c_str()));
    EXPECT_EQ(test::message_of([] { set_external_ready_signal(name); }), "Can't set event");
    const handle_hld stop(CreateMutexW(nullptr, FALSE, name.c_str()));
    EXPECT_EQ(test::message_of([] { external_stop_request request(name); }), "Can't create event");
}

}  // namespace
}  // namespace qv::profiler::pdb_server
