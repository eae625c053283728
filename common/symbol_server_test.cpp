// The test program is itself a library with nothing but the published interface.
#include "common/symbol_server.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cwchar>
#include <functional>
#include <thread>

#include "tests/support/calls/replaced_import.h"

namespace {

ULONG64 guid_pointer_option = 0;
BOOL(CALLBACK* callback)(UINT_PTR action, ULONG64 data, ULONG64 context) = nullptr;
std::function<void()> during_call;

}  // namespace

extern "C" {

__declspec(dllexport) BOOL WINAPI SymbolServerSetOptions(UINT_PTR options, ULONG64 data) {
    if (options == 0x8) guid_pointer_option = data;
    if (options == 0x1) callback = reinterpret_cast<decltype(callback)>(data);
    return TRUE;
}

// "Finds" a path that spells out what was asked.
__declspec(dllexport) BOOL WINAPI
    SymbolServerW(PCWSTR parameters, PCWSTR file_name, PVOID id, DWORD two, DWORD three, PWSTR found) {
    if (during_call) during_call();
    std::swprintf(found, MAX_PATH, L"%ls|%ls|%08lX|%lX|%lu|%llu", parameters, file_name,
                  static_cast<const GUID*>(id)->Data1, two, three, guid_pointer_option);
    return std::wcscmp(file_name, L"absent.pdb") != 0;
}

}  // extern "C"

namespace qv::symbol_server {
namespace {

boost::filesystem::path find(const library& asked, const std::wstring& parameters,
                             const std::wstring& name = L"m.pdb") {
    return asked.find(parameters, name, GUID{0x1234ABCD, 0, 0, {}}, 0xFFFFFFFF);
}

// As each module of a process has it that holds this code.
library open() {
    HMODULE program = nullptr;
    GetModuleHandleExW(0, nullptr, &program);
    return library(library_hld(program));
}

TEST(ForeignLibrary, IsAskedByItsPublishedContract) {
    const library asked = open();
    EXPECT_EQ(find(asked, L"c:\\a*d:\\b"), L"c:\\a*d:\\b|m.pdb|1234ABCD|FFFFFFFF|0|1");
    EXPECT_EQ(find(asked, L"c:\\a", L"absent.pdb"), L"");
    EXPECT_EQ(find(library(library_hld(LoadLibraryW(L"version.dll"))), L"c:\\a"), L"") << "no such entry point";
    {
        const test::failing_call<decltype(CreateMutexA)> no_mutex("CreateMutexA");
        EXPECT_EQ(find(asked, L"c:\\a"), L"");
    }
    const test::failing_call<decltype(WaitForSingleObject)> no_turn("WaitForSingleObject", 1, WAIT_FAILED);
    EXPECT_EQ(find(asked, L"c:\\a"), L"");
    EXPECT_NE(find(asked, L"c:\\a"), L"");
}

std::vector<std::wstring> heard;

TEST(ForeignLibrary, AsksAndTellsByItsPublishedContract) {
    open().set_callbacks({[]() noexcept { return true; }, [](auto& line) noexcept { heard.push_back(line); }});
    ULONG64 cancelled = 0;
    struct {
        DWORD severity, code;
        const char* text;
        void* object;
    } event = {1, 2, "event\n", nullptr};
    const auto tell = [](UINT_PTR action, const void* data) {
        return callback(action, reinterpret_cast<ULONG64>(data), 0);
    };
    EXPECT_TRUE(tell(1, "\b\b SYMSRV:  c:\\a - not there\r\n") && tell(2, &cancelled) && tell(3, &event));
    EXPECT_FALSE(tell(1, nullptr) || tell(2, nullptr) || tell(5, &event)) << "not as published, or not known";
    EXPECT_EQ(cancelled, 1u);
    EXPECT_THAT(heard, ::testing::ElementsAre(L"SYMSRV:  c:\\a - not there", L"event"));
}

TEST(ForeignLibrary, OnlyCallsForOnePlaceWaitForOneAnother) {
    const library one = open(), another = open();
    const auto most_inside = [&](const std::wstring& place, const std::wstring& other_place, int patience) {
        std::atomic<int> inside = 0, most = 0;
        during_call = [&] {
            if (++inside > most) most = inside.load();
            for (int i = 0; i < patience && most < 2; ++i) Sleep(1);
            --inside;
        };
        std::thread other([&] { find(another, other_place); });
        find(one, place);
        other.join();
        return most.load();
    };
    EXPECT_EQ(most_inside(L"slow", L"quick", 10000), 2);
    EXPECT_EQ(most_inside(L"place", L"place", 300), 1);
}

}  // namespace
}  // namespace qv::symbol_server
