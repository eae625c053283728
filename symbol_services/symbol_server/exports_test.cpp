// Loads the built library as any caller does and uses nothing but its exports.
#include "symbol_services/symbol_server/exports.h"

#include <dbghelp.h>
#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

#include "symbol_services/symbol_server/loaded_library_test_support.h"
#include "symbol_services/symbol_server/options.h"
#include "tests/support/files/test_files.h"

namespace qv::symbol_store {
namespace {

namespace fs = boost::filesystem;

GUID id = {0x0a1b2c3d, 0x4e5f, 0x6071, {0x82, 0x93, 0xa4, 0xb5, 0xc6, 0xd7, 0xe8, 0xf9}};
const std::wstring id_index = L"0A1B2C3D4E5F60718293A4B5C6D7E8F9FFFFFFFF";
constexpr DWORD age = 0xFFFFFFFF;
constexpr wchar_t canary = L'\x2620';

class SymSrv : public ::testing::Test {
protected:
    SymSrv() {
        QV_EXPORTED(SymbolServerSetOptions)(SSRVOPT_RESET, 0);
        set(SSRVOPT_GUIDPTR, TRUE);
    }

    static BOOL set(UINT_PTR option, ULONG64 data) { return QV_EXPORTED(SymbolServerSetOptionsW)(option, data); }
    static BOOL set_text(UINT_PTR option, const void* text) { return set(option, reinterpret_cast<ULONG64>(text)); }

    // The buffer is as long as callers are told to make it, and nothing behind it may change.
    static std::wstring find(const std::wstring& params, const std::wstring& name = L"app.pdb", void* key = &id) {
        std::vector<wchar_t> buffer(MAX_PATH + 2, canary);
        SetLastError(0);
        const BOOL success = QV_EXPORTED(SymbolServerW)(params.c_str(), name.c_str(), key, age, 0, buffer.data());
        EXPECT_EQ(success, buffer[0] != L'\0');
        EXPECT_EQ(buffer.back(), canary);
        return buffer.data();
    }

    static std::string index_of(void* key, DWORD two, DWORD three = 0) {
        char index[64];
        EXPECT_TRUE(QV_EXPORTED(SymbolServerGetIndexString)(key, two, three, index, sizeof index));
        return index;
    }

    fs::path put(const fs::path& store) const {
        return root_.write(store / "app.pdb" / id_index / "app.pdb", "content").make_preferred();
    }
    std::wstring at(const fs::path& store) const { return (root_.path() / store).native(); }

    const qv::testing::temporary_directory root_;
    wchar_t wide_[MAX_PATH + 1] = {};
    char narrow_[MAX_PATH + 1] = {};
};

TEST_F(SymSrv, EveryFormFinds) {
    const auto path = put("store");
    const auto store = fs::path(at("store")).string();
    EXPECT_EQ(find(L"srv*" + at("store")), path);
    EXPECT_TRUE(QV_EXPORTED(SymbolServerByIndexW)(at("store").c_str(), L"app.pdb", id_index.c_str(), wide_));
    EXPECT_EQ(wide_, path);
    EXPECT_TRUE(QV_EXPORTED(SymbolServer)(store.c_str(), "app.pdb", &id, age, 0, narrow_));
    EXPECT_EQ(narrow_, path.string());
    EXPECT_TRUE(QV_EXPORTED(SymbolServerByIndex)(store.c_str(), "app.pdb", index_of(&id, age).c_str(), narrow_));
    EXPECT_EQ(narrow_, path.string());
}

TEST_F(SymSrv, IndexLeavesOutWhatIsZero) {
    EXPECT_EQ(index_of(&id, 0xA), "0A1B2C3D4E5F60718293A4B5C6D7E8F9A");
    EXPECT_EQ(index_of(&id, 0), "0A1B2C3D4E5F60718293A4B5C6D7E8F9");
    set(SSRVOPT_DWORD, TRUE);
    EXPECT_EQ(index_of(reinterpret_cast<void*>(ULONG_PTR{0x1ABCDEF}), 0x2E000, 0x1F), "01ABCDEF2e0001f");
    set(SSRVOPT_PARAMTYPE, SSRVOPT_DWORDPTR);
    DWORD stamp = 0x1ABCDEF;
    EXPECT_EQ(index_of(&stamp, 0x2E000), "01ABCDEF2e000");
    EXPECT_EQ(QV_EXPORTED(SymbolServerGetOptions)(), UINT_PTR{SSRVOPT_DWORDPTR}) << "kinds exclude one another";
    set(SSRVOPT_OLDGUIDPTR, TRUE);
    EXPECT_EQ(index_of(&id, 0xA), "0A1B2C3D4E5F60718293A4B5C6D7E8F9A");
    set(SSRVOPT_OLDGUIDPTR, FALSE);
    EXPECT_EQ(index_of(reinterpret_cast<void*>(ULONG_PTR{1}), 1), "000000011") << "a number unless set otherwise";
}

TEST_F(SymSrv, FailuresHaveTheirCodesAndAnEmptyPath) {
    put("store");
    const auto search = [](std::wstring params, std::wstring name, void* key = &id) {
        return [=] { return !find(params, name, key).empty(); };
    };
    const struct {
        std::function<BOOL()> call;
        DWORD error;
    } cases[] = {
        {search(at("store"), L"other.pdb"), ERROR_FILE_NOT_FOUND},
        {search(at("gone"), L"app.pdb"), ERROR_PATH_NOT_FOUND},
        {search(at("store"), L".."), ERROR_INVALID_PARAMETER},
        {search(at("store"), std::wstring(256, L'a')), ERROR_FILENAME_EXCED_RANGE},
        {search(at("store"), L"app.pdb", nullptr), ERROR_INVALID_PARAMETER},
        {search(std::wstring(32768, L'a'), L"app.pdb"), ERROR_INVALID_PARAMETER},
        {[&] { return QV_EXPORTED(SymbolServerW)(nullptr, L"a", &id, 0, 0, wide_); }, ERROR_INVALID_PARAMETER},
        {[&] { return QV_EXPORTED(SymbolServer)("a", "a", &id, 0, 0, nullptr); }, ERROR_INVALID_PARAMETER},
        {[&] { return QV_EXPORTED(QvSymbolServerW)(L"a", L"a", &id, 0, 0, wide_, 0); }, ERROR_INVALID_PARAMETER},
        {[&] { return QV_EXPORTED(SymbolServerGetIndexStringW)(&id, age, 0, wide_, 40); }, ERROR_INSUFFICIENT_BUFFER},
        {[&] { return QV_EXPORTED(SymbolServerGetOptionData)(SSRVOPT_TRACE, nullptr); }, ERROR_INVALID_PARAMETER},
        {[&] { return QV_EXPORTED(SymbolServerPing)("\\gone"); }, ERROR_PATH_NOT_FOUND},
        {[&] { return QV_EXPORTED(SymbolServerIsStore)(nullptr); }, ERROR_INVALID_PARAMETER},
        {[&] { return set(SSRVOPT_PROXY, 0); }, ERROR_NOT_SUPPORTED},
        {[&] { return set(SSRVOPT_UNATTENDED | 0x1000, 1); }, ERROR_NOT_SUPPORTED},
        {[&] { return set(0, 1); }, ERROR_INVALID_PARAMETER},
        {[&] { return set(SSRVOPT_CALLBACK | SSRVOPT_TRACE, 1); }, ERROR_INVALID_PARAMETER},
        {[&] { return set(SSRVOPT_DWORD | SSRVOPT_GUIDPTR, 1); }, ERROR_INVALID_PARAMETER},
        {[&] { return set(SSRVOPT_PARAMTYPE, SSRVOPT_TRACE); }, ERROR_INVALID_PARAMETER},
        {[&] { return set(SSRVOPT_PARAMTYPE, 0); }, ERROR_INVALID_PARAMETER},
    };
    for (const auto& each : cases) {
        SetLastError(0);
        EXPECT_FALSE(each.call()) << &each - cases;
        EXPECT_EQ(GetLastError(), each.error) << &each - cases;
    }
    EXPECT_EQ(wide_[0], L'\0');
    EXPECT_EQ(QV_EXPORTED(SymbolServerGetOptions)(), UINT_PTR{SSRVOPT_GUIDPTR}) << "refused calls change nothing";
}

TEST_F(SymSrv, LongPathsAreForCallersWhoHaveRoom) {
    const std::wstring deep(120, L'd');
    const std::wstring path = put(fs::path(deep) / deep / deep).native(), store = at(fs::path(deep) / deep / deep);
    std::wstring buffer(path.size() + 2, canary);
    const auto find_sized = [&](std::size_t size) {
        return QV_EXPORTED(QvSymbolServerW)(store.c_str(), L"app.pdb", &id, age, 0, buffer.data(), size);
    };
    EXPECT_TRUE(find_sized(path.size() + 1));
    EXPECT_EQ(buffer, path + L'\0' + canary);
    EXPECT_FALSE(find_sized(path.size()));
    EXPECT_EQ(find(store), L"");
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
}

TEST_F(SymSrv, NarrowFormRefusesAPathThatItsCodePageLacks) {
    if (GetACP() == CP_UTF8) GTEST_SKIP() << "the code page of this process has every character";
    const fs::path store = L"st\xD83D\xDE00re";
    put(store);
    set_text(SSRVOPT_DOWNSTREAM_STORE, at(store).c_str());
    EXPECT_NE(find(L"srv*"), L"");
    EXPECT_FALSE(QV_EXPORTED(SymbolServer)("srv*", "app.pdb", &id, age, 0, narrow_));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_UNICODE_TRANSLATION});
}

TEST_F(SymSrv, OptionsAreKeptForTheProcess) {
    const auto path = put("store");
    set_text(SSRVOPT_DOWNSTREAM_STORE, at("store").c_str());
    EXPECT_EQ(find(at("cache") + L"*"), put("cache"));
    EXPECT_TRUE(set(SSRVOPT_UNATTENDED | SSRVOPT_NOCOPY, TRUE));
    EXPECT_EQ(find(at("other") + L"*"), path);
    EXPECT_EQ(QV_EXPORTED(SymbolServerGetOptions)(),
              UINT_PTR{SSRVOPT_GUIDPTR | SSRVOPT_UNATTENDED | SSRVOPT_NOCOPY | SSRVOPT_DOWNSTREAM_STORE});
    ULONG64 data = 0;
    EXPECT_TRUE(QV_EXPORTED(SymbolServerGetOptionData)(SSRVOPT_NOCOPY, &data));
    EXPECT_EQ(data, 1u);
}

TEST_F(SymSrv, MarksMakeADirectoryAStore) {
    for (const fs::path mark : {"a/pingme.txt", "b/000Admin/history.txt", "c/index2.txt"}) {
        const auto store = L"srv*" + at(*mark.begin());
        root_.write(*mark.begin() / "file", "");
        EXPECT_TRUE(QV_EXPORTED(SymbolServerPingW)(store.c_str()));
        EXPECT_FALSE(QV_EXPORTED(SymbolServerIsStoreW)(store.c_str()));
        root_.write(mark, "");
        EXPECT_TRUE(QV_EXPORTED(SymbolServerIsStoreW)(store.c_str())) << mark;
    }
}

BOOL CALLBACK record_trace(UINT_PTR action, ULONG64 data, ULONG64 context) {
    if (action == SSRVACTION_TRACE)
        reinterpret_cast<std::vector<std::wstring>*>(context)->emplace_back(reinterpret_cast<const wchar_t*>(data));
    return TRUE;
}

TEST_F(SymSrv, CallbackIsToldUntilTheLibraryIsClosed) {
    std::vector<std::wstring> lines;
    set(SSRVOPT_CALLBACK, 1);  // gives way to the next
    set_text(option::wide_callback, reinterpret_cast<const void*>(&record_trace));
    EXPECT_EQ(QV_EXPORTED(SymbolServerGetOptions)() & SSRVOPT_CALLBACK, 0u);
    set_text(SSRVOPT_SETCONTEXT, &lines);
    set(SSRVOPT_TRACE, TRUE);
    find(at("gone"));
    EXPECT_TRUE(QV_EXPORTED(SymbolServerClose)());
    find(at("gone"));
    EXPECT_THAT(lines, ::testing::ElementsAre(at("gone") + L" - store is not there"));
}

}  // namespace
}  // namespace qv::symbol_store
