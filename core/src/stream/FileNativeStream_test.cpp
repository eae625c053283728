#include "core/src/stream/FileNativeStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <fstream>
#include <limits>
#include <vector>

#include "diagnostics/exception_test_support.h"

namespace {

namespace fs = boost::filesystem;
using namespace qv;
using test::failure;
using test::failure_of;

constexpr const char* source = "core/src/stream/FileNativeStream";

class FileNativeStreamTest : public testing::Test {
protected:
    void SetUp() override { fs::create_directories(folder_); }
    void TearDown() override {
        boost::system::error_code ignored;
        fs::remove_all(folder_, ignored);
    }

    fs::path file(const char* name) const { return folder_ / name; }

    fs::path written(const char* name, const std::string& content) const {
        FileNativeStream out;
        out.Create(file(name));
        out.Write(content.data(), content.size());
        return file(name);
    }

    static std::string content(const fs::path& path) {
        FileNativeStream in;
        in.Open(path);
        std::string text(static_cast<std::size_t>(in.GetSize()), '\0');
        in.Read(text.data(), text.size());
        return text;
    }

private:
    fs::path folder_ = fs::temp_directory_path() / fs::unique_path("file-stream-%%%%%%%%");
};

TEST_F(FileNativeStreamTest, CreateTruncatesAndWritesGoOutAtOnce) {
    const auto path = written("log.txt", "a longer text");
    FileNativeStream out;
    out.Create(path);
    out.Write("ab", 2);
    out.Write(nullptr, 0);
    out.Write("c", 1);
    EXPECT_EQ(out.GetPosition(), 3u);
    out.Flush();
    std::ifstream reader(path.string(), std::ios::binary);  // reading is shared while the file is being written
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "abc");
}

TEST_F(FileNativeStreamTest, SeekBackOverwritesAndTruncateEndsTheFileThere) {
    FileNativeStream out;
    out.Create(file("f"));
    out.Write("abcd", 4);
    out.Seek(SeekOrigin::Begin, 1);
    out.Write("X", 1);
    EXPECT_EQ(out.GetPosition(), 2u);
    EXPECT_EQ(out.GetSize(), 4u);
    EXPECT_EQ(content(file("f")), "aXcd");
    out.Truncate();
    out.Write("e", 1);
    out.Close();
    EXPECT_EQ(content(file("f")), "aXe");
}

TEST_F(FileNativeStreamTest, ReadsExactlyOrKeepsThePosition) {
    FileNativeStream in;
    in.Open(written("f", "abcd"));
    char buffer[8] = {};
    in.Read(buffer, 3);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(failure_of([&] { in.Read(buffer, 2); }),
              (failure{"No enought data to read",
                       "void __cdecl FileNativeStream::Read(void *,const unsigned __int64)",
                       source,
                       {}}));
    EXPECT_EQ(in.GetPosition(), 3u);
    in.Read(buffer, 1);
    EXPECT_EQ(buffer[0], 'd');
    in.Read(nullptr, 0);
    EXPECT_EQ(in.GetPosition(), 4u);
}

TEST_F(FileNativeStreamTest, SeekRules) {
    FileNativeStream in;
    in.Open(written("f", "abcd"));
    constexpr auto far = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(failure_of([&] { in.Seek(SeekOrigin::End, 1); }),
              (failure{"Too large offset",
                       "void __cdecl FileNativeStream::Seek(const enum SeekOrigin,const __int64)",
                       source,
                       {}}));
    EXPECT_EQ(test::message_of([&] { in.Seek(SeekOrigin::Begin, far); }), "Too large offset");
    EXPECT_EQ(test::message_of([&] { in.Seek(SeekOrigin::Begin, -1); }), "Negative offset");
    in.Seek(SeekOrigin::End, 0);
    EXPECT_EQ(in.GetPosition(), 4u);
}

TEST_F(FileNativeStreamTest, OpenFileCanBeReplacedAndDeleted) {
    const auto path = written("module.pdb", "old");
    const auto other = written("new.pdb", "new!");
    FileNativeStream in;
    in.Open(path);
    fs::rename(path, file("moved.pdb"));
    fs::rename(other, path);
    EXPECT_TRUE(fs::remove(file("moved.pdb")));
    char buffer[4] = {};
    in.Read(buffer, 3);
    EXPECT_STREQ(buffer, "old");
    in.Close();
    EXPECT_EQ(content(path), "new!");
}

TEST_F(FileNativeStreamTest, OpenFileCanBeWrittenByOthers) {
    const auto path = written("f", "old");
    FileNativeStream in;
    in.Open(path);
    std::fstream writer(path.string(), std::ios::in | std::ios::out | std::ios::binary);
    ASSERT_TRUE(writer.is_open());
    writer << "NEW" << std::flush;
    char buffer[4] = {};
    in.Read(buffer, 3);
    EXPECT_STREQ(buffer, "NEW");
}

TEST_F(FileNativeStreamTest, FinalPathIsAbsoluteAndResolved) {
    fs::create_directory(file("sub"));
    written("f", "");
    FileNativeStream in;
    in.Open(file("sub") / ".." / "f");
    EXPECT_TRUE(in.FinalPath().is_absolute());
    EXPECT_TRUE(fs::equivalent(in.FinalPath(), file("f")));
    EXPECT_EQ(in.FinalPath().string().find(".."), std::string::npos);
    EXPECT_FALSE(in.FinalPath().string().starts_with("\\\\?\\"));
}

TEST_F(FileNativeStreamTest, ClosedStreamSaysSo) {
    FileNativeStream stream;
    char byte = 0;
    EXPECT_EQ(failure_of([&] { stream.Flush(); }),
              (failure{"File is closed", "void __cdecl FileNativeStream::Flush(void)", source, {}}));
    EXPECT_EQ(test::message_of([&] { stream.Read(&byte, 1); }), "File is closed");
    EXPECT_EQ(test::message_of([&] { stream.Write(&byte, 1); }), "File is closed");
    EXPECT_EQ(test::message_of([&] { stream.GetSize(); }), "File is closed");
    stream.Create(file("f"));
    EXPECT_TRUE(stream.IsOpen());
    stream.Close();
    stream.Close();
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_EQ(test::message_of([&] { stream.Flush(); }), "File is closed");
}

TEST_F(FileNativeStreamTest, RefusalCarriesCodeAndPath) {
    const auto missing = file("none") / "x";
    FileNativeStream stream;
    try {
        stream.Open(missing);
        FAIL();
    } catch (const win32_error_exception& error) {
        EXPECT_STREQ(error.what(), "Can't open file");
        EXPECT_STREQ(error.where().function,
                     "void __cdecl FileNativeStream::Open(const class boost::filesystem::path &)");
        ASSERT_NE(error.find<errtag_win32_error>(), nullptr);
        EXPECT_NE(*error.find<errtag_win32_error>(), 0u);
        ASSERT_NE(error.find<errtag_file_w>(), nullptr);
        EXPECT_EQ(*error.find<errtag_file_w>(), missing.wstring());
    }
    EXPECT_EQ(test::message_of([&] { stream.Create(missing); }), "Can't create file");
    EXPECT_FALSE(stream.IsOpen());
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
    for (const fs::path& refused : {file(""), device, fs::path()}) {
        EXPECT_EQ(test::message_of([&] { stream.Open(refused); }), "Can't open file") << refused;
        EXPECT_EQ(test::message_of([&] { stream.Create(refused); }), "Can't create file") << refused;
    }
    for (const fs::path& null : nulls) {
        EXPECT_EQ(test::message_of([&] { stream.Open(null); }), "Can't open file") << null;
        stream.Create(null);
        stream.Write("ab", 2);
        EXPECT_EQ(stream.GetPosition(), 2u);
    }
}

#ifdef _WIN32
TEST_F(FileNativeStreamTest, CreatedFileKeepsOtherWritersOut) {
    FileNativeStream first;
    first.Create(file("f"));
    FileNativeStream second;
    try {
        second.Create(file("f"));
        FAIL();
    } catch (const win32_error_exception& error) {
        EXPECT_EQ(*error.find<errtag_win32_error>(), 32u);  // ERROR_SHARING_VIOLATION
    }
}
#endif

}  // namespace
