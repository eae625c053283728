#include "common/symbol_server/library.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace qv::symbol_server {
namespace {

std::function<void(const std::wstring&)> during_call;

class ForeignLibrary : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(module_, nullptr);
        during_call = {};
        reinterpret_cast<void (*)(void (*)(const wchar_t*))>(
            reinterpret_cast<void*>(GetProcAddress(module_, "SetDuringCall")))([](const wchar_t* parameters) {
            if (during_call) during_call(parameters);
        });
    }

    // As each module of a process has it that holds this code.
    static library open() { return library(library_hld(LoadLibraryW(L"qv_foreign_symsrv.dll"))); }

    static boost::filesystem::path find(const library& asked, const std::wstring& parameters,
                                        const std::wstring& name = L"m.pdb") {
        return asked.find(parameters, name, GUID{0x1234ABCD, 0, 0, {}}, 0xFFFFFFFF);
    }

    const HMODULE module_ = LoadLibraryW(L"qv_foreign_symsrv.dll");
};

TEST_F(ForeignLibrary, IsAskedByItsPublishedContract) {
    const library asked = open();
    EXPECT_EQ(find(asked, L"c:\\a*d:\\b"), L"c:\\a*d:\\b|m.pdb|1234ABCD|FFFFFFFF|0|1");
    EXPECT_EQ(find(asked, L"c:\\a", L"absent.pdb"), L"");
    EXPECT_EQ(find(library(library_hld(LoadLibraryW(L"version.dll"))), L"c:\\a"), L"") << "no such entry point";
}

TEST_F(ForeignLibrary, CallsForDifferentPlacesRunAtTheSameTime) {
    const library asked = open();
    std::atomic<int> inside = 0, met = 0;
    during_call = [&](const std::wstring&) {
        ++inside;
        for (int i = 0; i < 1000 && inside < 2; ++i) Sleep(10);
        met += inside == 2;
    };
    std::thread other([&] { find(asked, L"slow"); });
    find(asked, L"quick");
    other.join();
    EXPECT_EQ(met, 2);
}

TEST_F(ForeignLibrary, CallsForOnePlaceWaitForOneAnother) {
    const library one = open(), another = open();
    std::atomic<int> inside = 0, together = 0, calls = 0;
    during_call = [&](const std::wstring&) {
        if (++inside > 1) ++together;
        Sleep(1);
        --inside;
        ++calls;
    };
    std::vector<std::thread> threads;
    for (const library* asked : {&one, &another, &one, &another})
        threads.emplace_back([asked] {
            for (int i = 0; i < 10; ++i) find(*asked, L"place");
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(calls, 40);
    EXPECT_EQ(together, 0);
}

}  // namespace
}  // namespace qv::symbol_server
