// Loads the built library as any caller does and uses nothing but its exports.
#include "symbol_services/symbol_server/exports.h"

#include <dbghelp.h>
#include <gmock/gmock.h>

#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "symbol_services/symbol_server/options.h"
#include "symbol_services/symbol_server/test_store.h"

namespace qv::symbol_store {
namespace {

static_assert(option::callback == SSRVOPT_CALLBACK && option::id_is_dword == SSRVOPT_DWORD &&
              option::id_is_dword_pointer == SSRVOPT_DWORDPTR && option::id_is_guid_pointer == SSRVOPT_GUIDPTR &&
              option::id_is_old_guid_pointer == SSRVOPT_OLDGUIDPTR && option::unattended == SSRVOPT_UNATTENDED &&
              option::no_copy == SSRVOPT_NOCOPY && option::parent_window == SSRVOPT_PARENTWIN &&
              option::parameter_type == SSRVOPT_PARAMTYPE && option::trace == SSRVOPT_TRACE &&
              option::callback_context == SSRVOPT_SETCONTEXT && option::downstream_store == SSRVOPT_DOWNSTREAM_STORE &&
              option::reset == SSRVOPT_RESET);

constexpr GUID id = {0x0a1b2c3d, 0x4e5f, 0x6071, {0x82, 0x93, 0xa4, 0xb5, 0xc6, 0xd7, 0xe8, 0xf9}};
constexpr const wchar_t* id_index = L"0A1B2C3D4E5F60718293A4B5C6D7E8F9FFFFFFFF";
constexpr wchar_t canary = L'\x2620';

test::fs::path library_path() {
    std::wstring program(32767, L'\0');
    program.resize(GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
    return test::fs::path(program).parent_path().parent_path() / "bin" / "SymSrv.dll";
}

struct found {
    BOOL success;
    DWORD error;
    std::wstring path;
};

class SymSrv : public testing::Test {
protected:
    static void SetUpTestSuite() { library_ = LoadLibraryW(library_path().c_str()); }
    static void TearDownTestSuite() { FreeLibrary(library_); }

    void SetUp() override {
        ASSERT_NE(library_, nullptr);
        ASSERT_TRUE(function<decltype(SymbolServerSetOptions)>("SymbolServerSetOptions")(SSRVOPT_RESET, 0));
        set(SSRVOPT_GUIDPTR, TRUE);
    }

    template <class Function>
    static Function* function(const char* name) {
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library_, name)));
    }

    static BOOL set(UINT_PTR option, ULONG64 data) {
        return function<decltype(SymbolServerSetOptionsW)>("SymbolServerSetOptionsW")(option, data);
    }

    // The buffer is as long as callers are told to make it, and nothing behind it may change.
    static found find(const std::wstring& params, const wchar_t* name, const void* key = &id, DWORD age = 0xFFFFFFFF) {
        std::vector<wchar_t> buffer(MAX_PATH + 2, canary);
        SetLastError(0);
        const BOOL success = function<decltype(SymbolServerW)>("SymbolServerW")(
            params.c_str(), name, const_cast<void*>(key), age, 0, buffer.data());
        const DWORD error = GetLastError();
        EXPECT_EQ(buffer.back(), canary);
        return {success, error, buffer.data()};
    }

    test::fs::path put(const char* store, const wchar_t* name = L"app.pdb", const wchar_t* index = id_index) const {
        const auto path = root_ / store / name / index / name;
        test::write_file(path, "content");
        return path;
    }

    std::wstring at(const char* store) const { return (root_ / store).native(); }

    test::temporary_directory root_;
    static inline HMODULE library_ = nullptr;
};

// Reads the export directory (PE/COFF, ".edata"): what is promised is there, and nothing else.
TEST_F(SymSrv, ExportsExactlyThePublishedNames) {
    const auto* base = reinterpret_cast<const char*>(library_);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    const auto& entry = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    const auto* exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + entry.VirtualAddress);
    const auto* names = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
    std::set<std::string> all;
    for (DWORD i = 0; i < exports->NumberOfNames; ++i) all.insert(base + names[i]);
    EXPECT_THAT(all, testing::ElementsAre(
                         "SymbolServer", "SymbolServerByIndex", "SymbolServerByIndexW", "SymbolServerClose",
                         "SymbolServerGetIndexString", "SymbolServerGetIndexStringW", "SymbolServerGetOptionData",
                         "SymbolServerGetOptions", "SymbolServerIsStore", "SymbolServerIsStoreW", "SymbolServerPing",
                         "SymbolServerPingW", "SymbolServerSetOptions", "SymbolServerSetOptionsW", "SymbolServerW"));
}

TEST_F(SymSrv, FindsAPortablePdbThroughTheCache) {
    put("store");
    const auto result = find(L"srv*" + at("cache") + L"*" + at("store"), L"app.pdb");
    EXPECT_TRUE(result.success);
    EXPECT_EQ(result.path, (root_ / "cache" / "app.pdb" / id_index / "app.pdb").native());
    EXPECT_EQ(test::read_file(result.path), "content");
}

TEST_F(SymSrv, FindsAnImageByValueAndByPointer) {
    const auto path = put("store", L"app.dll", L"5F0A1B2C2e000");
    const DWORD stamp = 0x5F0A1B2C;
    set(SSRVOPT_DWORD, TRUE);
    EXPECT_EQ(find(at("store"), L"app.dll", reinterpret_cast<const void*>(ULONG_PTR{stamp}), 0x2e000).path, path);
    set(SSRVOPT_PARAMTYPE, SSRVOPT_DWORDPTR);
    EXPECT_EQ(find(at("store"), L"app.dll", &stamp, 0x2e000).path, path);
}

TEST_F(SymSrv, FailuresHaveTheirCodesAndAnEmptyPath) {
    put("store");
    const struct {
        std::wstring params;
        std::wstring name;
        const void* key;
        DWORD error;
    } cases[] = {
        {at("store"), L"other.pdb", &id, ERROR_FILE_NOT_FOUND},
        {at("gone"), L"app.pdb", &id, ERROR_PATH_NOT_FOUND},
        {L"srv*https://host/symbols", L"app.pdb", &id, ERROR_PATH_NOT_FOUND},
        {at("store"), L"", &id, ERROR_INVALID_PARAMETER},
        {at("store"), L"..\\app.pdb", &id, ERROR_INVALID_PARAMETER},
        {at("store"), L"NUL", &id, ERROR_INVALID_PARAMETER},
        {at("store"), L"c:app.pdb", &id, ERROR_INVALID_PARAMETER},
        {at("store"), std::wstring(256, L'a'), &id, ERROR_FILENAME_EXCED_RANGE},
        {at("store"), L"app.pdb", nullptr, ERROR_INVALID_PARAMETER},
        {std::wstring(32768, L'a'), L"app.pdb", &id, ERROR_INVALID_PARAMETER},
    };
    for (const auto& c : cases) {
        const auto result = find(c.params, c.name.c_str(), c.key);
        EXPECT_FALSE(result.success) << c.name.c_str();
        EXPECT_EQ(result.error, c.error) << testing::PrintToString(c.name);
        EXPECT_EQ(result.path, L"");
    }
}

TEST_F(SymSrv, NullPointersAreRefused) {
    const auto search = function<decltype(SymbolServerW)>("SymbolServerW");
    const auto narrow = function<decltype(SymbolServer)>("SymbolServer");
    wchar_t path[MAX_PATH + 1];
    for (const auto& call : {std::function([&] { return search(nullptr, L"a", nullptr, 0, 0, path); }),
                             std::function([&] { return search(L"a", nullptr, nullptr, 0, 0, path); }),
                             std::function([&] { return search(L"a", L"a", nullptr, 0, 0, nullptr); }),
                             std::function([&] { return narrow(nullptr, nullptr, nullptr, 0, 0, nullptr); })}) {
        SetLastError(0);
        EXPECT_FALSE(call());
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    }
    EXPECT_FALSE(function<decltype(SymbolServerPing)>("SymbolServerPing")(nullptr));
    EXPECT_FALSE(function<decltype(SymbolServerGetOptionData)>("SymbolServerGetOptionData")(SSRVOPT_TRACE, nullptr));
}

TEST_F(SymSrv, PathThatDoesNotFitTheBufferIsRefused) {
    auto deep = root_.path();
    while (deep.native().size() < MAX_PATH) deep /= "a_rather_long_directory_name";
    const std::wstring prefix = L"\\\\?\\";
    test::fs::create_directories(prefix + deep.native());
    const auto file = test::fs::path(prefix + deep.native()) / "app.pdb" / id_index / "app.pdb";
    test::write_file(file, "content");
    EXPECT_EQ(find(prefix + deep.native(), L"app.pdb").error, DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_TRUE(find(at("cache") + L"*" + prefix + deep.native(), L"app.pdb").success);
}

TEST_F(SymSrv, NarrowFormsAnswerTheSame) {
    const auto path = put("store");
    char buffer[MAX_PATH + 1];
    const auto store = (root_ / "store").string();
    ASSERT_TRUE(function<decltype(SymbolServer)>("SymbolServer")(store.c_str(), "app.pdb", const_cast<GUID*>(&id),
                                                                 0xFFFFFFFF, 0, buffer));
    EXPECT_EQ(buffer, path.string());
    const auto by_index = function<decltype(SymbolServerByIndex)>("SymbolServerByIndex");
    ASSERT_TRUE(by_index(store.c_str(), "app.pdb", "0A1B2C3D4E5F60718293A4B5C6D7E8F9FFFFFFFF", buffer));
    EXPECT_EQ(buffer, path.string());
    EXPECT_FALSE(by_index(store.c_str(), "app.pdb", "..", buffer));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_STREQ(buffer, "");
}

TEST_F(SymSrv, NarrowFormRefusesAPathThatItsCodePageLacks) {
    const auto store = root_ / L"st\xD83D\xDE00re";
    test::write_file(store / "app.pdb" / id_index / "app.pdb", "content");
    set(SSRVOPT_DOWNSTREAM_STORE, reinterpret_cast<ULONG64>(store.c_str()));
    EXPECT_TRUE(find(L"srv*", L"app.pdb").success);
    if (GetACP() == CP_UTF8) GTEST_SKIP() << "the code page of this process has every character";
    char buffer[MAX_PATH + 1];
    EXPECT_FALSE(function<decltype(SymbolServer)>("SymbolServer")("srv*", "app.pdb", const_cast<GUID*>(&id), 0xFFFFFFFF,
                                                                  0, buffer));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_UNICODE_TRANSLATION});
    EXPECT_STREQ(buffer, "");
}

TEST_F(SymSrv, IndexStringNeedsRoomForItsTerminator) {
    const auto make = function<decltype(SymbolServerGetIndexStringW)>("SymbolServerGetIndexStringW");
    std::wstring buffer(42, canary);
    EXPECT_TRUE(make(const_cast<GUID*>(&id), 0xFFFFFFFF, 0, buffer.data(), 41));
    EXPECT_EQ(buffer.c_str(), std::wstring(id_index));
    EXPECT_EQ(buffer[41], canary);
    EXPECT_FALSE(make(const_cast<GUID*>(&id), 0xFFFFFFFF, 0, buffer.data(), 40));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(buffer[0], L'\0');
    char narrow[3] = "ab";
    EXPECT_FALSE(function<decltype(SymbolServerGetIndexString)>("SymbolServerGetIndexString")(const_cast<GUID*>(&id), 0,
                                                                                              0, narrow, 0));
    EXPECT_STREQ(narrow, "ab");
}

TEST_F(SymSrv, OptionsAreKeptForTheProcess) {
    const auto get = function<decltype(SymbolServerGetOptions)>("SymbolServerGetOptions");
    const auto value = function<decltype(SymbolServerGetOptionData)>("SymbolServerGetOptionData");
    EXPECT_TRUE(set(SSRVOPT_UNATTENDED | SSRVOPT_NOCOPY, TRUE));
    EXPECT_EQ(get(), UINT_PTR{SSRVOPT_GUIDPTR | SSRVOPT_UNATTENDED | SSRVOPT_NOCOPY});
    EXPECT_FALSE(set(SSRVOPT_PROXY, 0));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_SUPPORTED});
    ULONG64 data = 0;
    EXPECT_TRUE(value(SSRVOPT_NOCOPY, &data));
    EXPECT_EQ(data, 1u);
    EXPECT_FALSE(value(SSRVOPT_PROXY, &data));

    const auto original = put("store");
    EXPECT_EQ(find(at("cache") + L"*" + at("store"), L"app.pdb").path, original);
}

TEST_F(SymSrv, DefaultStoreIsTheOneThatWasSet) {
    const auto path = put("store");
    set(SSRVOPT_DOWNSTREAM_STORE, reinterpret_cast<ULONG64>(at("store").c_str()));
    EXPECT_EQ(find(L"srv*", L"app.pdb").path, path);
    const auto other = put("other");
    const auto narrow = (root_ / "other").string();
    function<decltype(SymbolServerSetOptions)>("SymbolServerSetOptions")(SSRVOPT_DOWNSTREAM_STORE,
                                                                         reinterpret_cast<ULONG64>(narrow.c_str()));
    EXPECT_EQ(find(L"", L"app.pdb").path, other);
}

TEST_F(SymSrv, PingAndIsStoreTellDirectoriesFromStores) {
    test::fs::create_directories(root_ / "plain");
    test::write_file(root_ / "marked" / "pingme.txt", "");
    const auto ping = function<decltype(SymbolServerPingW)>("SymbolServerPingW");
    const auto is_store = function<decltype(SymbolServerIsStoreW)>("SymbolServerIsStoreW");
    EXPECT_TRUE(ping((L"srv*" + at("plain")).c_str()));
    EXPECT_FALSE(is_store((L"srv*" + at("plain")).c_str()));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
    EXPECT_TRUE(is_store((L"srv*" + at("marked")).c_str()));
    EXPECT_FALSE(ping((L"srv*" + at("gone")).c_str()));
}

struct trace_record {
    std::vector<std::wstring> lines;
};

BOOL CALLBACK record_trace(UINT_PTR action, ULONG64 data, ULONG64 context) {
    if (action == SSRVACTION_TRACE)
        reinterpret_cast<trace_record*>(context)->lines.emplace_back(reinterpret_cast<const wchar_t*>(data));
    return TRUE;
}

TEST_F(SymSrv, CallbackIsToldUntilTheLibraryIsClosed) {
    trace_record record;
    set(option::wide_callback, reinterpret_cast<ULONG64>(&record_trace));
    set(SSRVOPT_SETCONTEXT, reinterpret_cast<ULONG64>(&record));
    set(SSRVOPT_TRACE, TRUE);
    find(at("gone"), L"app.pdb");
    EXPECT_THAT(record.lines, testing::ElementsAre(at("gone") + L" - store is not there"));
    EXPECT_TRUE(function<decltype(SymbolServerClose)>("SymbolServerClose")());
    find(at("gone"), L"app.pdb");
    EXPECT_EQ(record.lines.size(), 1u);
}

TEST_F(SymSrv, ManyThreadsSearchWhileOptionsChange) {
    put("store");
    const auto params = L"srv*" + at("cache") + L"*" + at("store");
    std::vector<std::thread> threads;
    std::vector<int> hits(4);
    for (auto& count : hits)
        threads.emplace_back([&params, &count] {
            for (int i = 0; i < 50; ++i) count += find(params, L"app.pdb").success;
        });
    for (int i = 0; i < 50; ++i) set(SSRVOPT_NOCOPY, i % 2 == 0);
    for (auto& thread : threads) thread.join();
    EXPECT_THAT(hits, testing::Each(50));
}

}  // namespace
}  // namespace qv::symbol_store
