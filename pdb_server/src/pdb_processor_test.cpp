// The engine where no client sees it whole: which images are taken, how the search path comes about, threads. What it
// answers to each command is in the conversations.
#include "pdb_server/src/pdb_processor.h"

#ifdef _WIN32
#include <windows.h>
#endif

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <boost/filesystem/operations.hpp>
#include <thread>

#include "diagnostics/exception_test_support.h"
#include "tests/support/conversations/conversations.h"
#include "tests/support/files/test_files.h"
#include "text/path.h"
#include "text/utf.h"

namespace qv::profiler::pdb_server {
namespace {

using namespace ::testing;
using namespace qv::testing;
using boost::filesystem::path;

class PdbProcessor : public Test {
protected:
    static void set_variable(const char* name, const char* value) {
#ifdef _WIN32
        SetEnvironmentVariableA(name, value);
#else
        value == nullptr ? unsetenv(name) : setenv(name, value, 1);
#endif
    }

    // The id, or what the load failed with.
    std::string load(const path& image, const GUID& mvid) {
        try {
            return std::to_string(processor.load_module(image, mvid));
        } catch (const std::exception& error) {
            return error.what();
        }
    }

    std::atomic<bool> stop{false};
    pdb_processor processor{system_services(), [this] { return stop.load(); }};
    testing::temporary_directory directory;
    const GUID standalone = mvid_of(fixture("Standalone.dll"));
};

TEST_F(PdbProcessor, TakesImagesOfTheBuildThatIsAskedFor) {
    processor.init(0, {});
    const path broken = directory.write("broken.dll", "MZ");
    const path device = directory.path() / "NUL";  // so Windows takes it, in whatever directory
    for (const path& image : {fixture("Embedded.dll"), directory.path() / "missing.dll", directory.path(), device})
        EXPECT_EQ(load(image, standalone), "Invalid MVID for the absolute module path is detected");
    EXPECT_EQ(load(broken, standalone), test::message_of([&] { mvid_of(broken); }));
}

TEST_F(PdbProcessor, LooksForRelativePathsAlongTheDirectories) {
    const auto wide = [&](const char* name) { return text::to_wide(directory.path() / name); };
    const auto outcome = [&](const std::vector<std::wstring>& paths) {
        processor.terminate();
        processor.init(0, paths);
        return load("Module.dll", standalone);
    };
    directory.copy(fixture("Embedded.dll"), "wrong/Module.dll");
    const path broken = directory.write("broken/Module.dll", "MZ");
    const path image = directory.copy(fixture("Standalone.dll"), "right/Module.dll");
    const path pdb = directory.copy(fixture("Standalone.pdb"), "right/Standalone.pdb");
    const std::string reason = test::message_of([&] { mvid_of(broken); });
    EXPECT_EQ(outcome({L"SRV*nowhere", wide("absent"), wide("wrong")}), "0");
    EXPECT_EQ(outcome({wide("wrong"), wide("right"), wide("broken")}), "1");
    EXPECT_EQ(outcome({wide("broken"), wide("right")}), reason) << "a malformed image on the way ends the search";
    const path before = boost::filesystem::current_path();
    boost::filesystem::current_path(directory.path());
    EXPECT_EQ(outcome({L"right"}), "The module path isn't absolute");
#ifndef _WIN32  // where a directory can have such a name
    boost::filesystem::create_directory("srv*right");
    boost::filesystem::copy_file(image, "srv*right/Module.dll");
    EXPECT_EQ(outcome({L"srv*right"}), "0");
#endif
    boost::filesystem::current_path(before);
    stop = true;
    EXPECT_EQ(outcome({wide("right")}), "The server is stopping");
    stop = false;
    ASSERT_EQ(outcome({wide("right")}), "2");
    // Not even this system holds a file back that is open no more.
    boost::filesystem::remove(image);
    boost::filesystem::remove(pdb);
}

TEST_F(PdbProcessor, OrdersSearchPathsOfCommandAndEnvironment) {
    set_variable("_NT_SYMBOL_PATH", "a;;b;");
    set_variable("_NT_ALT_SYMBOL_PATH", std::string(1000, 'x').c_str());
    processor.init(0, {L"mine", L""});
    EXPECT_THAT(processor.search_paths(),
                ElementsAre(path("mine"), path(), path(std::string(1000, 'x')), path("a"), path(), path("b"), path()));
    set_variable("_NT_SYMBOL_PATH", "");
    set_variable("_NT_ALT_SYMBOL_PATH", nullptr);
    processor.init(0, {L"second"});
    EXPECT_THAT(processor.search_paths(), ElementsAre(path("second"), path()));
    set_variable("_NT_SYMBOL_PATH", nullptr);
}

TEST_F(PdbProcessor, ReportsAnUnreadableEnvironment) {
    const platform_services failing = {[](const wchar_t*, wchar_t*, std::uint32_t, std::uint32_t& error) {
                                           error = 5;
                                           return 0u;
                                       },
                                       {}};
    try {
        pdb_processor(failing).init(0, {});
        FAIL();
    } catch (const hresult_exception& error) {
        EXPECT_STREQ(error.what(), "Failed to get environment variable");
        EXPECT_EQ(static_cast<std::uint32_t>(*error.find<errtag_hresult>()), 0x80070005u);
        EXPECT_EQ(*error.find<errtag_environment_name_w>(), L"_NT_ALT_SYMBOL_PATH");
    }
}

TEST_F(PdbProcessor, LooksOnlyWhereTheOperatorLetsClientsLook) {
    const path shared = directory.copy(fixture("Standalone.dll"), "share/Standalone.dll");
    const path image = directory.copy(fixture("Standalone.dll"), "drive/Standalone.dll");
    directory.copy(fixture("Standalone.pdb"), "share/Standalone.pdb");
    platform_services strict = system_services();
    strict.may_look_at = [&](const path& place) { return text::to_wide(place).find(L"share") == std::wstring::npos; };
    const std::vector<std::wstring> elements = {text::to_wide(shared.parent_path())};
    for (const auto* const services : {&system_services(), const_cast<const platform_services*>(&strict)}) {
        const bool is_strict = services == &strict;
        pdb_processor client(*services);
        client.init(0, elements);
        EXPECT_EQ(test::message_of([&] { client.load_module(shared, standalone); }),
                  is_strict ? "The module path is not allowed" : "");
        EXPECT_EQ(client.load_module("Standalone.dll", GUID{}), 0u);
        EXPECT_EQ(client.load_module(image, standalone), is_strict ? 0u : 2u);
        set_variable("_NT_SYMBOL_PATH", text::to_utf8(elements[0]).c_str());
        client.init(0, {});
        EXPECT_NE(client.load_module(image, standalone), 0u) << "the environment is the operator's";
        set_variable("_NT_SYMBOL_PATH", nullptr);
    }
}

TEST(LocalPath, LiesOnADriveOfThisMachine) {
#ifdef _WIN32
    for (const auto* const place : {L"C:\\a.dll", L"c:/a"}) EXPECT_TRUE(is_local_path(place)) << path(place);
    for (const auto* const place : {L"\\\\host\\share\\a.dll", L"//host/share/a", L"\\\\?\\C:\\a", L"\\\\.\\pipe\\a",
                                    L"C:a", L"\\a", L"a", L"", L"srv*C:\\a", L"1:\\a", L"Q:\\no drive"})
        EXPECT_FALSE(is_local_path(place)) << path(place);
#else
    EXPECT_TRUE(is_local_path("/a"));
    for (const auto* const place : {"//host/a", "a", "", "srv*/a"}) EXPECT_FALSE(is_local_path(place)) << place;
#endif
}

TEST_F(PdbProcessor, AnswersManyThreadsWhileModulesComeAndGo) {
    processor.init(0, {});
    ASSERT_EQ(load(fixture("Standalone.dll"), standalone), "1");
    point_values expected;
    processor.get_method_offsets(1, 0x06000004, expected);
    std::atomic<unsigned> newest{1}, queries{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            for (; newest != 0; ++queries) {
                point_values offsets = expected;
                const auto failure =
                    test::message_of([&] { processor.get_method_offsets(newest, 0x06000004, offsets); });
                EXPECT_THAT(failure, AnyOf("", "Unknown PDB module", "Invalid PDB module id"));
                EXPECT_EQ(offsets, expected);
            }
        });
    // Each turn lets the only owner go, mostly in the middle of a query.
    for (int i = 0; i < 30; ++i) {
        for (const unsigned before = queries; queries < before + 5;) std::this_thread::yield();
        processor.unload_module(newest);
        newest = processor.load_module(fixture("Standalone.dll"), standalone);
    }
    newest = 0;
    for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace qv::profiler::pdb_server
