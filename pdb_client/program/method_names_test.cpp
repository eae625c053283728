// Names of methods, of an image that a compiler wrote and of made ones.
#include "pdb_client/program/method_names.h"

#include <gmock/gmock.h>

#include "qv/portable_executable/readers.h"
#include "tests/support/builders/metadata_builder.h"
#include "tests/support/files/test_files.h"

namespace qv::profiler::pdb_client {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(MethodNames, OfACompilersOwnMethods) {
    const method_names names(portable_executable::read_image_file(qv::testing::fixture("Hidden.dll")).metadata);
    EXPECT_EQ(names.name_of(0x06000001), "Hidden.Partly(1)");
    EXPECT_THAT(names.find("Hidden.<Count>d__3.MoveNext"), ElementsAre(0x0600000b));
    EXPECT_EQ(names.name_of(0x0600000a), "Hidden+<Count>d__3.System.IDisposable.Dispose(0)");
    EXPECT_EQ(names.name_of(0x06000100), "");
}

// A.B.Outer`1 with Add(1), Add(2) and a generic ReAdd(0); in it Inner without methods, in that Inmost with .ctor(0).
// The last type is nested in itself.
test::metadata_builder made_image() {
    auto image = test::image_metadata({}, 0);
    const auto type = [&](const char* space, const char* name, std::uint32_t first) {
        image.add_row(0x02, {0, image.string(name), *space == 0 ? 0 : image.string(space), 0, 1, first});
    };
    const auto method = [&](const std::string& name, const test::bytes& signature) {
        image.add_row(0x06, {0, 0, 0, image.string(name), image.blob(signature), 1});
    };
    type("A.B", "Outer`1", 1);
    type("", "Inner", 4);
    type("", "Inmost", 4);
    type("", "Loop", 5);
    image.add_row(0x29, {2, 1}).add_row(0x29, {3, 2}).add_row(0x29, {4, 4});
    method("Add", {0x20, 1});
    method("Add", {0x20, 2});
    method("ReAdd", {0x30, 3, 0});
    method(".ctor", {0x20, 0});
    method("Lost", {0x20, 0});
    return image;
}

TEST(MethodNames, NestedAndGenericTypes) {
    const method_names names(made_image().build());
    EXPECT_EQ(names.name_of(0x06000002), "A.B.Outer`1.Add(2)");
    EXPECT_EQ(names.name_of(0x06000003), "A.B.Outer`1.ReAdd(0)");
    EXPECT_EQ(names.name_of(0x06000004), "A.B.Outer`1+Inner+Inmost..ctor(0)");
    EXPECT_EQ(names.name_of(0x06000005), "");
    EXPECT_EQ(names.name_of(0x06000006), "");
}

TEST(MethodNames, FoundByTheWholeNameThenItsEndThenAPart) {
    const method_names names(made_image().build());
    const std::pair<const char*, std::vector<std::uint32_t>> cases[] = {{"A.B.Outer`1.Add", {0x06000001, 0x06000002}},
                                                                        {"A.B.Outer`1.Add(2)", {0x06000002}},
                                                                        {"Add", {0x06000001, 0x06000002}},
                                                                        {"Add(0)", {0x06000003}},
                                                                        {"dd", {0x06000001, 0x06000002, 0x06000003}},
                                                                        {"Inner.Inmost..ctor", {0x06000004}},
                                                                        {".ctor", {0x06000004}},
                                                                        {"add", {}}};
    for (const auto& [text, tokens] : cases) EXPECT_EQ(names.find(text), tokens) << text;
}

// Whatever is wrong with the metadata, tokens do without names.
TEST(MethodNames, FallAwayWhereTheMetadataAreBroken) {
    EXPECT_EQ(method_names({1, 2, 3}).name_of(0x06000001), "");
    EXPECT_THAT(method_names().find("a"), IsEmpty());
    auto long_names = made_image();
    long_names.add_row(0x06, {0, 0, 0, long_names.string(std::string(1024, 'n')), 0, 1});
    auto other_layout = made_image();
    other_layout.add_rows(0x04, 0x10000);
    auto first_types_have_no_methods = test::image_metadata({}, 1);
    EXPECT_EQ(method_names(long_names.build()).name_of(0x06000006), "");
    EXPECT_EQ(method_names(other_layout.build()).name_of(0x06000001), "");
    EXPECT_EQ(method_names(first_types_have_no_methods.build()).name_of(0x06000001), "");
}

}  // namespace
}  // namespace qv::profiler::pdb_client
