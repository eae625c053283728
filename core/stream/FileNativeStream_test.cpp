#include "core/stream/FileNativeStream.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <fstream>
#include <functional>
#include <vector>

#include "diagnostics/exception_test_support.h"
#include "tests/support/files/test_files.h"

namespace {

namespace fs = boost::filesystem;
using namespace qv;
using test::message_of;

class FileNativeStreamTest : public ::testing::Test {
protected:
    fs::path file(const char* name) const { return folder.path() / name; }

    const qv::testing::temporary_directory folder;
};

TEST_F(FileNativeStreamTest, WritesGoOutAtOnceAndTruncateEndsTheFile) {
    FileNativeStream out;
    out.Create(folder.write("f", "a longer text"));
    out.Write("ab", 2);
    out.Write(nullptr, 0);
    out.Write("cd", 2);
    out.Seek(SeekOrigin::Begin, 1);
    out.Write("X", 1);
    EXPECT_EQ(out.GetPosition(), 2u);
    EXPECT_EQ(out.GetSize(), 4u);
    out.Flush();
    EXPECT_EQ(qv::testing::read_file(file("f")), "aXcd");
    out.Truncate();
    out.Write("e", 1);
    EXPECT_EQ(qv::testing::read_file(file("f")), "aXe");
#ifdef _WIN32
    FileNativeStream second;
    EXPECT_EQ(message_of([&] { second.Create(file("f")); }), "Can't create file") << "there is one writer";
#endif
}

TEST_F(FileNativeStreamTest, ReadsAndSeeksExactlyOrKeepsThePosition) {
    FileNativeStream in;
    in.Open(folder.write("f", "abcd"));
    char buffer[8] = {};
    in.Read(buffer, 3);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(message_of([&] { in.Read(buffer, 2); }), "No enought data to read");
    EXPECT_EQ(message_of([&] { in.Seek(SeekOrigin::End, 1); }), "Too large offset");
    EXPECT_EQ(in.GetPosition(), 3u);
    in.Read(buffer, 1);
    in.Read(nullptr, 0);
    EXPECT_EQ(buffer[0], 'd');
    in.Seek(SeekOrigin::End, 0);
    EXPECT_EQ(in.GetPosition(), 4u);
}

TEST_F(FileNativeStreamTest, OpenFileBelongsToTheBuilds) {
    const auto path = folder.write("module.pdb", "old");
    FileNativeStream in;
    in.Open(path);
    std::fstream(path.string(), std::ios::in | std::ios::out | std::ios::binary) << "OLD";
    fs::rename(path, file("moved.pdb"));
    EXPECT_TRUE(fs::remove(file("moved.pdb")));
    char buffer[4] = {};
    in.Read(buffer, 3);
    EXPECT_STREQ(buffer, "OLD");
}

TEST_F(FileNativeStreamTest, FinalPathIsAbsoluteAndResolved) {
    fs::create_directory(file("sub"));
    folder.write("f", "");
    FileNativeStream in;
    in.Open(file("sub") / ".." / "f");
    EXPECT_TRUE(in.FinalPath().is_absolute());
    EXPECT_TRUE(fs::equivalent(in.FinalPath(), file("f")));
    EXPECT_EQ(in.FinalPath().string().find(".."), std::string::npos);
    EXPECT_FALSE(in.FinalPath().string().starts_with("\\\\?\\"));
}

TEST_F(FileNativeStreamTest, ClosedStreamAndRefusalSaySo) {
    FileNativeStream stream;
    stream.Create(file("f"));
    stream.Close();
    stream.Close();
    EXPECT_FALSE(stream.IsOpen());
    char byte = 0;
    const std::function<void()> actions[] = {[&] { stream.Flush(); }, [&] { stream.Read(&byte, 1); },
                                             [&] { stream.Write(&byte, 1); }, [&] { stream.GetSize(); }};
    for (const auto& action : actions) EXPECT_EQ(message_of(action), "File is closed");
    const auto missing = file("none") / "x";
    try {
        stream.Open(missing);
        FAIL();
    } catch (const win32_error_exception& error) {
        EXPECT_NE(*error.find<errtag_win32_error>(), 0u);
        EXPECT_EQ(*error.find<errtag_file_w>(), missing.wstring());
    }
}

TEST_F(FileNativeStreamTest, OnlyFilesAreOpenedAndTheNullDeviceToWriteTo) {
#ifdef _WIN32
    const std::vector<fs::path> nulls = {"NUL", "nul", "\\\\.\\NUL"};
    const fs::path device = "CON";
#else
    const std::vector<fs::path> nulls = {"/dev/null"};
    const fs::path device = "/dev/zero";
#endif
    FileNativeStream stream;
    for (const fs::path& refused : {folder.path(), file("none") / "x", device, fs::path()}) {
        EXPECT_EQ(message_of([&] { stream.Open(refused); }), "Can't open file") << refused;
        EXPECT_EQ(message_of([&] { stream.Create(refused); }), "Can't create file") << refused;
    }
    for (const fs::path& null : nulls) {
        EXPECT_EQ(message_of([&] { stream.Open(null); }), "Can't open file") << null;
        stream.Create(null);
        stream.Write("ab", 2);
        EXPECT_EQ(stream.GetPosition(), 2u);
    }
}

}  // namespace
