#include "pdb_server/src/pdb_processor_dsr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <fstream>
#include <iterator>

#include "diagnostics/exception_test_support.h"
#include "pdb_server/src/dsr/dsr_data.h"
#include "qv/diagnostics/log.h"
#include "tests/support/com/fake_symbols.h"
#include "tests/support/files/test_files.h"

namespace qv::profiler::pdb_server {
namespace {

using testing::fake_binder;
using testing::fake_dispenser;
using testing::fake_module;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr GUID mvid{0x12345678, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
constexpr std::uint8_t policy = 0xFE;

class DsrLoadModule : public ::testing::Test {
protected:
    DsrLoadModule() {
        data->binder = com_hld<com::ISymUnmanagedBinder2>(new fake_binder(module));
        data->dispenser = com_hld<com::IMetaDataDispenser>(new fake_dispenser(module));
        data->services.task_mem_free = [](void*) {};
    }
    ~DsrLoadModule() override {
        data.reset();
        EXPECT_EQ(module.live, 0);
    }

    std::shared_ptr<module_data> load(const search_path_list& paths = {}) {
        return dsr_load_module(data, L"C:\\bin\\m.dll", mvid, paths, policy);
    }

    // What the log says while `action` runs.
    template <class Action>
    std::string log_of(Action&& action) {
        const auto file = directory.path() / "server.log";
        log::Logger& logger = log::Logger::instance();
        logger.open(file);
        logger.set_components(16);
        action();
        logger.close();
        std::ifstream in(file.string(), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    fake_module module;
    std::shared_ptr<dsr_data> data = std::make_shared<dsr_data>();
    testing::temporary_directory directory;
};

TEST_F(DsrLoadModule, TheReaderIsAskedWithTheJoinedPathsAndThePolicy) {
    struct {
        search_path_list paths;
        std::wstring joined;
    } const cases[] = {
        {{}, L""},
        {{L"C:\\a"}, L"C:\\a"},
        {{L"C:\\a", L"", L"srv*C:\\c*\\\\host\\store", L"b"}, L"C:\\a;;srv*C:\\c*\\\\host\\store;b"},
    };
    for (const auto& c : cases) {
        const auto loaded = load(c.paths);
        ASSERT_TRUE(loaded);
        EXPECT_TRUE(IsEqualGUID(loaded->mvid, mvid));
        EXPECT_EQ(module.search_path, c.joined);
    }
    EXPECT_EQ(module.opened_image, L"C:\\bin\\m.dll");
    EXPECT_EQ(module.searched_image, L"C:\\bin\\m.dll");
    EXPECT_EQ(module.policy, policy);
    EXPECT_TRUE(module.importer_was_given);
}

TEST_F(DsrLoadModule, AReaderThatFindsNothingMeansNoSymbols) {
    module.results["GetReaderForFile2"] = E_FAIL;
    const std::string text = log_of([&] { EXPECT_EQ(load(), nullptr); });
    EXPECT_THAT(text, HasSubstr(" DSR::LoadModule res=no_sud mvid={12345678-0001-0002-0304-05060708090a}\r\n"));
}

TEST_F(DsrLoadModule, AnImageWithoutMetadataIsAnError) {
    module.results["OpenScope"] = static_cast<HRESULT>(0x8013110E);
    const auto failure = test::failure_of([&] { load(); });
    EXPECT_EQ(failure.message, "Can't open metadata scope");
    EXPECT_EQ(failure.source, "pdb_server/src/pdb_processor_dsr");
}

TEST_F(DsrLoadModule, AReaderThatIsNotThereIsAnError) {
    module.results["GetReaderForFile2"] = S_FALSE;
    EXPECT_EQ(test::message_of([&] { load(); }), "Null interface pointer");
}

TEST_F(DsrLoadModule, UnloadingIsLogged) {
    const auto unload = [&] { load().reset(); };
    EXPECT_THAT(log_of(unload), AllOf(HasSubstr(" DSR::DestoryPdb res=finished\r\n"), Not(HasSubstr("WARNING"))));
    module.results["Destroy"] = E_FAIL;
    EXPECT_THAT(log_of(unload), AllOf(HasSubstr(" DSR::DestoryPdb res=exited\r\n"),
                                      HasSubstr("WARNING: Can't unload PDB file (COM error 80004005, E_FAIL"),
                                      HasSubstr(") context=DSR::DestoryPdb\r\n")));
}

TEST_F(DsrLoadModule, AMachineWithoutTheServicesIsLoggedOnce) {
    com_services none;
    none.create_instance = [](REFCLSID, REFIID, void**) { return static_cast<HRESULT>(0x80040154); };
    const std::string text = log_of([&] {
        data = dsr_init(none);
        for (int i = 0; i < 2; ++i) EXPECT_EQ(test::message_of([&] { load(); }), "Can't create symbol binder");
    });
    const auto first = text.find("WARNING: Can't create symbol binder (COM error 80040154");
    EXPECT_NE(first, std::string::npos);
    EXPECT_EQ(text.find("Can't create symbol binder", first + 20), std::string::npos);
}

}  // namespace
}  // namespace qv::profiler::pdb_server
