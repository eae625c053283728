// Loads the built library as any caller does and uses nothing but its exports.
#include "symbol_services/symbol_server/exports.h"

#include <dbghelp.h>
#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "symbol_services/symbol_server/options.h"
#include "tests/support/files/test_files.h"

namespace qv::symbol_store {
namespace {

namespace fs = boost::filesystem;
using qv::testing::read_file;

static_assert(option::callback == SSRVOPT_CALLBACK && option::id_is_dword == SSRVOPT_DWORD &&
              option::id_is_dword_pointer == SSRVOPT_DWORDPTR && option::id_is_guid_pointer == SSRVOPT_GUIDPTR &&
              option::id_is_old_guid_pointer == SSRVOPT_OLDGUIDPTR && option::unattended == SSRVOPT_UNATTENDED &&
              option::no_copy == SSRVOPT_NOCOPY && option::parent_window == SSRVOPT_PARENTWIN &&
              option::parameter_type == SSRVOPT_PARAMTYPE && option::trace == SSRVOPT_TRACE &&
              option::callback_context == SSRVOPT_SETCONTEXT && option::downstream_store == SSRVOPT_DOWNSTREAM_STORE &&
              option::reset == SSRVOPT_RESET);

GUID id = {0x0a1b2c3d, 0x4e5f, 0x6071, {0x82, 0x93, 0xa4, 0xb5, 0xc6, 0xd7, 0xe8, 0xf9}};
const std::string id_index = "0A1B2C3D4E5F60718293A4B5C6D7E8F9FFFFFFFF";
constexpr wchar_t canary = L'\x2620';

HMODULE library() {
    static const HMODULE loaded = [] {
        std::wstring program(32767, L'\0');
        program.resize(GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
        return LoadLibraryW((fs::path(program).parent_path().parent_path() / "bin" / "SymSrv.dll").c_str());
    }();
    return loaded;
}

template <class Function>
Function* exported(const char* name) {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library(), name)));
}

#define QV_EXPORTED(name) exported<decltype(name)>(#name)

struct found {
    BOOL success;
    DWORD error;
    std::wstring path;
};

class SymSrv : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(library(), nullptr);
        ASSERT_TRUE(QV_EXPORTED(SymbolServerSetOptions)(SSRVOPT_RESET, 0));
        set(SSRVOPT_GUIDPTR, TRUE);
    }

    static BOOL set(UINT_PTR option, ULONG64 data) { return QV_EXPORTED(SymbolServerSetOptionsW)(option, data); }

    // The buffer is as long as callers are told to make it, and nothing behind it may change.
    static found find(const std::wstring& params, const wchar_t* name = L"app.pdb", void* key = &id,
                      DWORD age = 0xFFFFFFFF) {
        std::vector<wchar_t> buffer(MAX_PATH + 2, canary);
        SetLastError(0);
        const BOOL success = QV_EXPORTED(SymbolServerW)(params.c_str(), name, key, age, 0, buffer.data());
        const DWORD error = GetLastError();
        EXPECT_EQ(buffer.back(), canary);
        return {success, error, buffer.data()};
    }

    fs::path put(const fs::path& store, const std::string& name = "app.pdb",
                 const std::string& index = id_index) const {
        return root_.write(store / name / index / name, "content").make_preferred();
    }
    std::wstring at(const fs::path& store) const { return (root_.path() / store).native(); }

    const qv::testing::temporary_directory root_;
};

TEST_F(SymSrv, EveryFormFindsAndCopies) {
    const auto path = put("store");
    EXPECT_EQ(find(L"srv*" + at("cache") + L"*" + at("store")).path, put("cache").native());
    EXPECT_EQ(read_file(put("cache")), "content");
    wchar_t wide[MAX_PATH + 1];
    char narrow[MAX_PATH + 1];
    const auto store = fs::path(at("store")).string();
    EXPECT_TRUE(QV_EXPORTED(SymbolServerByIndexW)(at("store").c_str(), L"app.pdb",
                                                  std::wstring(id_index.begin(), id_index.end()).c_str(), wide));
    EXPECT_EQ(wide, path);
    EXPECT_TRUE(QV_EXPORTED(SymbolServer)(store.c_str(), "app.pdb", &id, 0xFFFFFFFF, 0, narrow));
    EXPECT_EQ(narrow, path.string());
    EXPECT_TRUE(QV_EXPORTED(SymbolServerByIndex)(store.c_str(), "app.pdb", id_index.c_str(), narrow));
    EXPECT_EQ(narrow, path.string());
    EXPECT_FALSE(QV_EXPORTED(SymbolServerByIndex)(store.c_str(), "app.pdb", "..", narrow));
    EXPECT_STREQ(narrow, "");
}

TEST_F(SymSrv, FindsAnImageByValueAndByPointer) {
    const auto path = put("store", "app.dll", "5F0A1B2C2e000");
    DWORD stamp = 0x5F0A1B2C;
    set(SSRVOPT_DWORD, TRUE);
    EXPECT_EQ(find(at("store"), L"app.dll", reinterpret_cast<void*>(ULONG_PTR{stamp}), 0x2e000).path, path);
    set(SSRVOPT_PARAMTYPE, SSRVOPT_DWORDPTR);
    EXPECT_EQ(find(at("store"), L"app.dll", &stamp, 0x2e000).path, path);
}

TEST_F(SymSrv, FailuresHaveTheirCodesAndAnEmptyPath) {
    put("store");
    const struct {
        std::wstring params;
        std::wstring name;
        void* key;
        DWORD error;
    } cases[] = {
        {at("store"), L"other.pdb", &id, ERROR_FILE_NOT_FOUND},
        {at("gone"), L"app.pdb", &id, ERROR_PATH_NOT_FOUND},
        {at("store"), L"..\\app.pdb", &id, ERROR_INVALID_PARAMETER},
        {at("store"), std::wstring(256, L'a'), &id, ERROR_FILENAME_EXCED_RANGE},
        {at("store"), L"app.pdb", nullptr, ERROR_INVALID_PARAMETER},
        {std::wstring(32768, L'a'), L"app.pdb", &id, ERROR_INVALID_PARAMETER},
    };
    for (const auto& c : cases) {
        const auto result = find(c.params, c.name.c_str(), c.key);
        EXPECT_FALSE(result.success) << c.error;
        EXPECT_EQ(result.error, c.error);
        EXPECT_EQ(result.path, L"");
    }
    wchar_t path[MAX_PATH + 1];
    for (const auto& call :
         {std::function([&] { return QV_EXPORTED(SymbolServerW)(nullptr, L"a", &id, 0, 0, path); }),
          std::function([&] { return QV_EXPORTED(SymbolServerW)(L"a", nullptr, &id, 0, 0, path); }),
          std::function([&] { return QV_EXPORTED(SymbolServer)("a", "a", &id, 0, 0, nullptr); }),
          std::function([&] { return QV_EXPORTED(QvSymbolServerW)(L"a", L"a", &id, 0, 0, path, 0); }),
          std::function([&] { return QV_EXPORTED(SymbolServerPing)(nullptr); }),
          std::function([&] { return QV_EXPORTED(SymbolServerGetOptionData)(1, nullptr); })}) {
        SetLastError(0);
        EXPECT_FALSE(call());
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    }
}

TEST_F(SymSrv, LongPathsAreForCallersWhoHaveRoom) {
    const std::wstring deep(120, L'd');
    const auto store = fs::path(deep) / deep / deep;
    const auto path = put(store).native();
    EXPECT_EQ(find(at(store)).error, DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(find(at("cache") + L"*" + at(store)).path, put("cache"));
    std::wstring buffer(path.size() + 2, canary);
    const auto find_sized = [&](std::size_t size) {
        return QV_EXPORTED(QvSymbolServerW)(at(store).c_str(), L"app.pdb", &id, 0xFFFFFFFF, 0, buffer.data(), size);
    };
    EXPECT_TRUE(find_sized(path.size() + 1));
    EXPECT_EQ(buffer, path + L'\0' + canary);
    EXPECT_FALSE(find_sized(path.size()));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
}

TEST_F(SymSrv, NarrowFormRefusesAPathThatItsCodePageLacks) {
    if (GetACP() == CP_UTF8) GTEST_SKIP() << "the code page of this process has every character";
    const fs::path store = L"st\xD83D\xDE00re";
    put(store);
    set(SSRVOPT_DOWNSTREAM_STORE, reinterpret_cast<ULONG64>(at(store).c_str()));
    EXPECT_TRUE(find(L"srv*").success);
    char buffer[MAX_PATH + 1];
    EXPECT_FALSE(QV_EXPORTED(SymbolServer)("srv*", "app.pdb", &id, 0xFFFFFFFF, 0, buffer));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_UNICODE_TRANSLATION});
    EXPECT_STREQ(buffer, "");
}

TEST_F(SymSrv, IndexStringNeedsRoomForItsTerminator) {
    const auto make = QV_EXPORTED(SymbolServerGetIndexStringW);
    std::wstring buffer(42, canary);
    EXPECT_TRUE(make(&id, 0xFFFFFFFF, 0, buffer.data(), 41));
    EXPECT_EQ(buffer, std::wstring(id_index.begin(), id_index.end()) + L'\0' + canary);
    EXPECT_FALSE(make(&id, 0xFFFFFFFF, 0, buffer.data(), 40));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(buffer[0], L'\0');
    char narrow[3] = "ab";
    EXPECT_FALSE(QV_EXPORTED(SymbolServerGetIndexString)(&id, 0, 0, narrow, 0));
    EXPECT_STREQ(narrow, "ab");
}

TEST_F(SymSrv, OptionsAreKeptForTheProcess) {
    EXPECT_TRUE(set(SSRVOPT_UNATTENDED | SSRVOPT_NOCOPY, TRUE));
    EXPECT_EQ(QV_EXPORTED(SymbolServerGetOptions)(), UINT_PTR{SSRVOPT_GUIDPTR | SSRVOPT_UNATTENDED | SSRVOPT_NOCOPY});
    EXPECT_FALSE(set(SSRVOPT_PROXY, 0));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_SUPPORTED});
    ULONG64 data = 0;
    EXPECT_TRUE(QV_EXPORTED(SymbolServerGetOptionData)(SSRVOPT_NOCOPY, &data));
    EXPECT_EQ(data, 1u);
    EXPECT_FALSE(QV_EXPORTED(SymbolServerGetOptionData)(SSRVOPT_PROXY, &data));
    const auto path = put("store");
    EXPECT_EQ(find(at("cache") + L"*" + at("store")).path, path);
    const auto narrow = path.parent_path().parent_path().parent_path().string();
    QV_EXPORTED(SymbolServerSetOptions)(SSRVOPT_DOWNSTREAM_STORE, reinterpret_cast<ULONG64>(narrow.c_str()));
    EXPECT_EQ(find(L"").path, path);
}

TEST_F(SymSrv, PingAndIsStoreTellDirectoriesFromStores) {
    const auto ping = QV_EXPORTED(SymbolServerPingW);
    const auto is_store = QV_EXPORTED(SymbolServerIsStoreW);
    EXPECT_FALSE(ping((L"srv*" + at("a")).c_str()));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
    for (const fs::path mark : {"a/pingme.txt", "b/000Admin/history.txt", "c/index2.txt"}) {
        const auto store = L"srv*" + at(*mark.begin());
        root_.write(*mark.begin() / "file", "");
        EXPECT_TRUE(ping(store.c_str()));
        EXPECT_FALSE(is_store(store.c_str()));
        root_.write(mark, "");
        EXPECT_TRUE(is_store(store.c_str())) << mark;
    }
}

BOOL CALLBACK record_trace(UINT_PTR action, ULONG64 data, ULONG64 context) {
    if (action == SSRVACTION_TRACE)
        reinterpret_cast<std::vector<std::wstring>*>(context)->emplace_back(reinterpret_cast<const wchar_t*>(data));
    return TRUE;
}

TEST_F(SymSrv, CallbackIsToldUntilTheLibraryIsClosed) {
    std::vector<std::wstring> lines;
    set(option::wide_callback, reinterpret_cast<ULONG64>(&record_trace));
    set(SSRVOPT_SETCONTEXT, reinterpret_cast<ULONG64>(&lines));
    set(SSRVOPT_TRACE, TRUE);
    find(at("gone"));
    EXPECT_TRUE(QV_EXPORTED(SymbolServerClose)());
    find(at("gone"));
    EXPECT_THAT(lines, ::testing::ElementsAre(at("gone") + L" - store is not there"));
}

TEST_F(SymSrv, ManyThreadsSearchWhileOptionsChange) {
    put("store");
    std::vector<std::thread> threads;
    std::vector<int> hits(4);
    for (auto& count : hits)
        threads.emplace_back([&] {
            for (int i = 0; i < 50; ++i) count += find(L"srv*" + at("cache") + L"*" + at("store")).success;
        });
    for (int i = 0; i < 50; ++i) set(SSRVOPT_NOCOPY, i % 2 == 0);
    for (auto& thread : threads) thread.join();
    EXPECT_THAT(hits, ::testing::Each(50));
}

}  // namespace
}  // namespace qv::symbol_store
