#include "pdb_server/src/pdb_processor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <functional>
#include <map>

#include "diagnostics/exception_test_support.h"
#include "pdb_server/src/pdb_processor_dsr.h"
#include "qv/diagnostics/exception.h"
#include "qv/metadata/module_identity.h"
#include "qv/portable_executable/image_file.h"
#include "qv/text/path.h"
#include "tests/support/files/test_files.h"

namespace qv::profiler::pdb_server {
namespace {

using boost::filesystem::path;
using ::testing::ElementsAre;
using testing::fixture;

// An environment of the test's own, read by the contract of the system call.
struct fake_system {
    std::map<std::wstring, std::wstring> variables;
    std::uint32_t failure = 0;
    platform_services services = {
        [this](const wchar_t* name, wchar_t* buffer, std::uint32_t size, std::uint32_t& error) -> std::uint32_t {
            const auto found = variables.find(name);
            error = failure != 0 ? failure : found == variables.end() ? 203u : 0u;
            if (error != 0) return 0;
            const auto length = static_cast<std::uint32_t>(found->second.size());
            if (length >= size) return length + 1;
            found->second.copy(buffer, length);
            return length;
        },
        [](const std::wstring&, const std::wstring&, const GUID&, std::uint32_t) { return path(); }};
};

GUID mvid_of(const path& image) {
    return metadata::read_module_identity(portable_executable::read_image_file(image).metadata).mvid;
}

class PdbProcessor : public ::testing::Test {
protected:
    void init(const std::vector<std::wstring>& paths = {}) { processor.init(0, paths); }

    unsigned load(const path& image) { return processor.load_module(image, mvid_of(image)); }

    template <class Action>
    std::string failure_of(Action action) {
        try {
            action();
        } catch (const exception& error) {
            EXPECT_STREQ(error.where().source, "pdb_server/src/pdb_processor");
            return error.what();
        }
        return {};
    }

    std::size_t points(unsigned mid, unsigned token) {
        std::vector<unsigned> offsets;
        processor.get_method_offsets(mid, token, offsets);
        return offsets.size();
    }

    fake_system system;
    pdb_processor processor{system.services};
    testing::temporary_directory directory;
};

TEST_F(PdbProcessor, ChecksArgumentsInOrder) {
    init();
    const unsigned mid = load(fixture("Standalone.dll"));
    ASSERT_EQ(mid, 1u);
    std::vector<unsigned> a, b, c, d, e;
    std::vector<unsigned char> bytes;
    std::wstring url;
    GUID algorithm{};
    struct method_case {
        unsigned mid, token;
        const char* message;
    };
    for (const method_case& m :
         {method_case{0, 0x06000000, "Invalid PDB module id"}, method_case{9, 0x06000000, "Invalid method token"},
          method_case{9, 0x02000001, "Invalid method token"}, method_case{9, 0x00000001, "Invalid method token"},
          method_case{9, 0x06000001, "Unknown PDB module"}, method_case{mid, 0x06000001, ""}}) {
        EXPECT_EQ(failure_of([&] { processor.get_method_offsets(m.mid, m.token, a); }), m.message);
        EXPECT_EQ(failure_of([&] { processor.get_method_ranges(m.mid, m.token, a, b, c, d, e); }), m.message);
    }
    struct document_case {
        unsigned mid, did;
        const char* message;
    };
    for (const document_case& t :
         {document_case{0, 0, "Invalid PDB module id"}, document_case{9, 0, "Invalid PDB document id"},
          document_case{9, 1, "Unknown PDB module"}, document_case{mid, 1, ""}})
        EXPECT_EQ(failure_of([&] { processor.get_document(t.mid, t.did, url, algorithm, bytes); }), t.message);
    EXPECT_EQ(failure_of([&] { processor.get_source_server_data(0, bytes); }), "Invalid PDB module id");
    EXPECT_EQ(failure_of([&] { processor.get_source_server_data(9, bytes); }), "Unknown PDB module");
    EXPECT_EQ(failure_of([&] { processor.unload_module(0); }), "Invalid PDB module id");
    EXPECT_EQ(failure_of([&] { processor.unload_module(9); }), "") << "unloading an unknown id is silent";
}

TEST_F(PdbProcessor, FailuresNameTheirFunction) {
    init();
    std::vector<unsigned> a, b, c, d, e;
    std::vector<unsigned char> bytes;
    std::wstring url;
    GUID algorithm{};
    const std::string words = "class std::vector<unsigned int,class std::allocator<unsigned int> > &";
    const std::string octets = "class std::vector<unsigned char,class std::allocator<unsigned char> > &";
    const std::string processor_name = "qv::profiler::pdb_server::pdb_processor::";
    const std::string four_words = words + "," + words + "," + words + "," + words;
    system.failure = 5;
    const struct {
        std::function<void()> action;
        const char* message;
        std::string function;
    } cases[] = {
        {[&] { processor.unload_module(0); }, "Invalid PDB module id",
         "void __cdecl " + processor_name + "unload_module(unsigned int)"},
        {[&] { processor.get_method_offsets(1, 0, a); }, "Invalid method token",
         "void __cdecl " + processor_name + "get_method_offsets(unsigned int,unsigned int," + words + ") const"},
        {[&] { processor.get_method_ranges(1, 0x06000001, a, b, c, d, e); }, "Unknown PDB module",
         "void __cdecl " + processor_name + "get_method_ranges(unsigned int,unsigned int," + words + "," + four_words +
             ") const"},
        {[&] { processor.get_document(1, 0, url, algorithm, bytes); }, "Invalid PDB document id",
         "void __cdecl " + processor_name +
             "get_document(unsigned int,unsigned int,class std::basic_string<wchar_t,struct "
             "std::char_traits<wchar_t>,class std::allocator<wchar_t> > &,struct _GUID &," +
             octets + ") const"},
        {[&] { processor.get_source_server_data(1, bytes); }, "Unknown PDB module",
         "void __cdecl " + processor_name + "get_source_server_data(unsigned int," + octets + ") const"},
        {[&] { processor.load_module(fixture("Standalone.dll"), GUID{}); },
         "Invalid MVID for the absolute module path is detected",
         "unsigned int __cdecl " + processor_name +
             "load_module(const class boost::filesystem::path &,const struct _GUID &)"},
        {[&] { processor.add_search_path_from_environment(L"X"); }, "Failed to get environment variable",
         "void __cdecl " + processor_name + "add_search_path_from_environment(const wchar_t *)"},
    };
    for (const auto& each : cases)
        EXPECT_EQ(test::failure_of(each.action),
                  (test::failure{each.message, each.function, "pdb_server/src/pdb_processor", {}}));
}

TEST_F(PdbProcessor, GivesAFurtherIdForALoadedModuleWithoutOpeningAFile) {
    init();
    const path image = directory.copy(fixture("Standalone.dll"), "Standalone.dll");
    directory.copy(fixture("Standalone.pdb"), "Standalone.pdb");
    const GUID mvid = mvid_of(image);
    EXPECT_EQ(processor.load_module(image, mvid), 1u);
    boost::filesystem::remove(image);
    EXPECT_EQ(processor.load_module("gone/elsewhere.dll", mvid), 2u);
    processor.unload_module(1);
    EXPECT_EQ(failure_of([&] { points(1, 0x06000001); }), "Unknown PDB module");
    EXPECT_GT(points(2, 0x06000004), 0u);
    processor.unload_module(2);
    EXPECT_EQ(failure_of([&] { processor.load_module(image, mvid); }),
              "Invalid MVID for the absolute module path is detected");
    EXPECT_EQ(load(fixture("Embedded.dll")), 3u) << "a failed load takes no id and no id comes back";
}

TEST_F(PdbProcessor, HoldsNoFileOpen) {
    init();
    const path image = directory.copy(fixture("Standalone.dll"), "Standalone.dll");
    const path pdb = directory.copy(fixture("Standalone.pdb"), "Standalone.pdb");
    ASSERT_EQ(load(image), 1u);
    boost::filesystem::remove(image);
    boost::filesystem::remove(pdb);
    EXPECT_GT(points(1, 0x06000004), 0u);
}

TEST_F(PdbProcessor, RejectsAbsolutePathsOfAnotherModule) {
    init();
    const char* const message = "Invalid MVID for the absolute module path is detected";
    const GUID other = mvid_of(fixture("Embedded.dll"));
    for (const path& image : {fixture("Standalone.dll"), directory.path() / "missing.dll", directory.path()})
        EXPECT_EQ(failure_of([&] { processor.load_module(image, other); }), message) << image;
}

TEST_F(PdbProcessor, FindsRelativePathsAlongTheSearchPathsAndSkipsOtherBuilds) {
    directory.copy(fixture("Embedded.dll"), "wrong/Module.dll");
    directory.copy(fixture("Standalone.dll"), "right/Module.dll");
    directory.copy(fixture("Standalone.pdb"), "right/Standalone.pdb");
    init({L"SRV*nowhere", text::to_wide(directory.path() / "absent"), text::to_wide(directory.path() / "wrong"),
          text::to_wide(directory.path() / "right")});
    const GUID mvid = mvid_of(fixture("Standalone.dll"));
    EXPECT_EQ(processor.load_module("Module.dll", mvid), 1u);
    EXPECT_EQ(processor.load_module("Absent.dll", mvid_of(fixture("Sha1.dll"))), 0u);
}

TEST_F(PdbProcessor, RejectsAModuleFoundThroughARelativeElement) {
    const path image = directory.copy(fixture("Standalone.dll"), "sub/Module.dll");
    const path before = boost::filesystem::current_path();
    boost::filesystem::current_path(directory.path());
    init({L"sub"});
    EXPECT_EQ(failure_of([&] { processor.load_module("Module.dll", mvid_of(image)); }),
              "The module path isn't absolute");
    boost::filesystem::current_path(before);
}

TEST_F(PdbProcessor, AnswersZeroForModulesWithoutSymbols) {
    init();
    EXPECT_EQ(load(fixture("NoSymbols.dll")), 0u);
    EXPECT_EQ(load(fixture("Mismatch.dll")), 0u) << "the PDB beside it belongs to another build";
    EXPECT_EQ(load(directory.copy(fixture("Standalone.dll"), "Standalone.dll")), 0u) << "no PDB in reach";
    EXPECT_EQ(load(fixture("Standalone.dll")), 1u) << "none of these took an id";
}

TEST_F(PdbProcessor, PassesFailuresOfMalformedImagesOn) {
    init();
    const path broken = directory.write("broken.dll", "MZ");
    EXPECT_THROW(processor.load_module(broken, GUID{}), exception);
    EXPECT_EQ(load(fixture("Standalone.dll")), 1u);
}

TEST_F(PdbProcessor, OrdersSearchPathsOfCommandAndEnvironment) {
    system.variables = {{L"_NT_SYMBOL_PATH", L"a;;b;"}, {L"_NT_ALT_SYMBOL_PATH", std::wstring(1000, L'x')}};
    init({L"mine", L""});
    EXPECT_THAT(processor.search_paths(),
                ElementsAre(path("mine"), path(), path(std::string(1000, 'x')), path("a"), path(), path("b"), path()));
    system.variables = {{L"_NT_SYMBOL_PATH", L""}};
    init({L"second"});
    EXPECT_THAT(processor.search_paths(), ElementsAre(path("second"), path()));
    system.variables.clear();
    init();
    EXPECT_TRUE(processor.search_paths().empty());
}

TEST_F(PdbProcessor, ReportsAnUnreadableEnvironment) {
    init({L"mine"});
    system.failure = 5;
    try {
        processor.add_search_path_from_environment(L"_NT_SYMBOL_PATH");
        FAIL();
    } catch (const hresult_exception& error) {
        EXPECT_STREQ(error.what(), "Failed to get environment variable");
        EXPECT_EQ(static_cast<std::uint32_t>(*error.find<errtag_hresult>()), 0x80070005u);
        EXPECT_EQ(*error.find<errtag_environment_name_w>(), L"_NT_SYMBOL_PATH");
    }
    EXPECT_THAT(processor.search_paths(), ElementsAre(path("mine")));
}

}  // namespace
}  // namespace qv::profiler::pdb_server
