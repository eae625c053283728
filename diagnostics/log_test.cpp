#include "qv/diagnostics/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/algorithm/string/replace.hpp>
#include <boost/filesystem.hpp>
#include <cstdio>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include "core/src/stream/FileNativeStream.h"
#include "diagnostics/exception_test_support.h"
#include "diagnostics/system_message_test_support.h"
#include "quorvex/common/os/thread.h"
#include "qv/diagnostics/exception.h"

#ifndef _WIN32
#include <sys/resource.h>

#include <csignal>
#endif

namespace {

namespace fs = boost::filesystem;
using namespace qv;
using log::component;
using log::Logger;
using log::TextStream;

std::string content_of(const fs::path& path) {
    FileNativeStream in;
    in.Open(path);
    std::string text(static_cast<std::size_t>(in.GetSize()), '\0');
    in.Read(text.data(), text.size());
    return text;
}

std::string thread_prefix() {
    char text[16];
    std::snprintf(text, sizeof text, "%08X ", quorvex::common::os::current_thread_id());
    return text;
}

// The process's log in a folder of its own; closed and removed afterwards.
class LogTest : public testing::Test {
protected:
    void SetUp() override { fs::create_directories(folder_); }
    void TearDown() override {
        logger.close();
        boost::system::error_code ignored;
        fs::remove_all(folder_, ignored);
    }

    // What followed the opening records, the thread prefix at each line's beginning written as "#".
    std::string records() const {
        const std::string all = content_of(path);
        std::string text = all.substr(all.find("\r\n", all.find("\r\n\tProcess ") + 2) + 2);
        boost::algorithm::replace_all(text, thread_prefix(), "#");
        return text;
    }

private:
    fs::path folder_ = fs::temp_directory_path() / fs::unique_path("log-%%%%%%%%");

protected:
    fs::path path = folder_ / "server.log";
    Logger& logger = Logger::instance();
};

TEST_F(LogTest, OpeningRecords) {
    logger.open(path);
    const std::string text = content_of(path);
    const std::string prefix = thread_prefix();
    const std::string real = fs::canonical(path).string();
    EXPECT_EQ(text.find(prefix + "Initialized\r\n\tLogFile='" + path.string() + "'\r\n\tRealLogFile='" + real +
                        "'\r\n" + prefix + "Build BuildVersion="),
              0u)
        << text;
    EXPECT_EQ(records(), "");
}

TEST_F(LogTest, MasksSwitchComponentsOnAndRecordThemselves) {
    const struct {
        std::uint16_t mask;
        const char* record;
        bool core_bridge;
        bool pdb_gt;
    } cases[] = {
        {0, "maskSet=0000 maskClear=0000\r\n\t 0: [ ] CoreBridge\r\n\t 4: [ ] PdbGt\r\n", false, false},
        {1, "maskSet=0001 maskClear=0000\r\n\t 0: [X] CoreBridge\r\n\t 4: [ ] PdbGt\r\n", true, false},
        {16, "maskSet=0010 maskClear=0000\r\n\t 0: [ ] CoreBridge\r\n\t 4: [X] PdbGt\r\n", false, true},
        {17, "maskSet=0011 maskClear=0000\r\n\t 0: [X] CoreBridge\r\n\t 4: [X] PdbGt\r\n", true, true},
        {65518, "maskSet=FFEE maskClear=0000\r\n\t 0: [ ] CoreBridge\r\n\t 4: [ ] PdbGt\r\n", false, false},
    };
    for (const auto& c : cases) {
        logger.open(path);
        logger.set_components(c.mask);
        EXPECT_EQ(logger.enabled(component::CoreBridge), c.core_bridge);
        EXPECT_EQ(logger.enabled(component::PdbGt), c.pdb_gt);
        logger.record(component::CoreBridge, [](TextStream& out) { out.text("CP::X"); });
        logger.record(component::PdbGt, [](TextStream& out) { out.text("PP::X"); });
        log::write_state("S::X", log::state::run);
        logger.close();
        EXPECT_EQ(records(), std::string("#UpdateComponentMask ") + c.record + (c.core_bridge ? "#CP::X\r\n" : "") +
                                 (c.pdb_gt ? "#PP::X\r\n" : "") + "#S::X res=run\r\n#Finished\r\n");
    }
}

TEST_F(LogTest, MasksAddUp) {
    logger.open(path);
    logger.set_components(1);
    logger.set_components(16);
    logger.close();
    EXPECT_EQ(records(),
              "#UpdateComponentMask maskSet=0001 maskClear=0000\r\n\t 0: [X] CoreBridge\r\n\t 4: [ ] PdbGt\r\n"
              "#UpdateComponentMask maskSet=0010 maskClear=0000\r\n\t 0: [X] CoreBridge\r\n\t 4: [X] PdbGt\r\n"
              "#Finished\r\n");
}

TEST_F(LogTest, FixedRecords) {
    logger.open(path);
    log::write_state("CP::A", log::state::run);
    log::write_state("CP::A", log::state::started);
    log::write_state("CP::A", log::state::finished);
    log::write_state("CP::A", log::state::exited);
    log::write_state(nullptr, log::state::ok);
    log::write_received("CP::CmdLoadModule", 3);
    log::write_executed("CP::CmdLoadModule", UINT64_MAX);
    log::write_event("S::ConsoleCtrl", "Ctrl+C");
    log::write_received(component::CoreBridge, "not", 1);
    log::write_executed(component::PdbGt, "written", 1);
    EXPECT_EQ(records(),
              "#CP::A res=run\r\n#CP::A res=started\r\n#CP::A res=finished\r\n#CP::A res=exited\r\n"
              "#<nullptr> res=ok\r\n#CP::CmdLoadModule id=3 res=received\r\n"
              "#CP::CmdLoadModule id=18446744073709551615 res=executed\r\n#S::ConsoleCtrl event=Ctrl+C\r\n");
}

template <class Throw>
void log_error(Throw&& action) {
    try {
        action();
    } catch (...) {
        log::write_error();
    }
}

TEST_F(LogTest, WarningsAndErrorsSayWhatWasCaught) {
    const test::canned_system_messages messages;
    logger.open(path);
    log_error([] { throw 7; });
    log_error([] { throw std::bad_alloc(); });
    log_error([] { throw std::runtime_error("two\nlines"); });
    log_error([] { throw std::system_error(2, std::system_category()); });
    log_error([] { throw_win32_error("Can't create file", 5, "f", "s", 1); });
    try {
        throw std::system_error(5, std::system_category());
    } catch (...) {
        log::write_warning();
        log::write_warning("DSR::X");
    }
    EXPECT_EQ(records(),
              "#ERROR: Unknown error\r\n"
              "#ERROR: Out of memory\r\n"
              "#ERROR: two\x7Flines\r\n"
              "#ERROR: system\r\n\t'The system cannot find the file specified'\r\n"
              "#ERROR: Can't create file (Win32 error 5, Access is denied)\r\n"
              "#WARNING: system\r\n\t'Access is denied'\r\n"
              "#WARNING: system context=DSR::X\r\n\t'Access is denied'\r\n");
}

TEST_F(LogTest, ScopeTellsHowItWasLeft) {
    logger.open(path);
    { const log::scope hidden(component::PdbGt, "PP::Init"); }
    logger.set_components(16);
    { const log::scope quiet(component::PdbGt, "PP::Init"); }
    try {
        const log::scope loud(component::PdbGt, "PP::Term");
        throw std::runtime_error("out");
    } catch (const std::runtime_error&) {
        const log::scope inside_a_handler(component::PdbGt, "PP::X");
    }
    EXPECT_THAT(records(), testing::EndsWith("PdbGt\r\n#PP::Init res=started\r\n#PP::Init res=finished\r\n"
                                             "#PP::Term res=started\r\n#PP::Term res=exited\r\n"
                                             "#PP::X res=started\r\n#PP::X res=finished\r\n"));
}

TEST_F(LogTest, ThrowingBodyIsMarkedAndTheNextRecordStartsAfresh) {
    logger.open(path);
    logger.record([](TextStream& out) {
        out.text("CP::X").key("id").Dec(1, 100);
        out.text("never reached");
    });
    logger.record([](TextStream& out) {
        out.new_line().text("half");
        throw 7;
    });
    logger.record([](TextStream& out) { out.key("fresh"); });
    EXPECT_EQ(records(),
              "#CP::X id=[Exception was thrown during logging]\r\n"
              "#\r\n\thalf[Exception was thrown during logging]\r\n"
              "# fresh=\r\n");
}

TEST_F(LogTest, LongRecordIsWhole) {
    logger.open(path);
    const std::string name(100000, 'n');
    logger.record([&](TextStream& out) { out.text("PP::LoadModule").key("name").quoted(name); });
    EXPECT_EQ(records(), "#PP::LoadModule name='" + name + "'\r\n");
}

TEST_F(LogTest, ClosedLogRunsNoBody) {
    bool ran = false;
    const auto body = [&](TextStream&) { ran = true; };
    logger.record(body);
    logger.set_components(17);
    EXPECT_FALSE(ran);
    EXPECT_FALSE(logger.enabled());
    EXPECT_FALSE(logger.enabled(component::CoreBridge));
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(LogTest, SecondOpenAndSecondCloseDoNothing) {
    logger.open(path);
    logger.set_components(1);
    const auto other = path.parent_path() / "other.log";
    logger.open(other);
    EXPECT_FALSE(fs::exists(other));
    EXPECT_TRUE(logger.enabled(component::CoreBridge));
    logger.close();
    logger.close();
    log::write_state("late", log::state::ok);
    EXPECT_THAT(records(), testing::EndsWith("PdbGt\r\n#Finished\r\n"));
    EXPECT_FALSE(logger.enabled(component::CoreBridge));
}

TEST_F(LogTest, ReopenedLogStartsAfresh) {
    logger.open(path);
    logger.set_components(17);
    logger.close();
    logger.open(path);
    EXPECT_FALSE(logger.enabled(component::PdbGt));
    EXPECT_EQ(records(), "");
}

TEST_F(LogTest, FileThatCannotBeCreatedLeavesTheLogClosedAndUsable) {
    EXPECT_EQ(test::message_of([&] { logger.open(path / "none" / "x.log"); }), "Can't create file");
    EXPECT_FALSE(logger.enabled());
    logger.open(path);
    EXPECT_TRUE(logger.enabled());
}

TEST_F(LogTest, ThreadsNeverInterleave) {
    constexpr int threads = 6;
    constexpr int count = 300;
    logger.open(path);
    std::vector<std::thread> writers;
    for (int t = 0; t < threads; ++t)
        writers.emplace_back([t, this] {
            for (int i = 0; i < count; ++i)
                logger.record([&](TextStream& out) {
                    out.text("T").Dec(t).new_line().key("own").text(thread_prefix().c_str()).key("i").Dec(i);
                });
        });
    for (auto& writer : writers) writer.join();
    logger.close();

    std::vector<int> next(threads, 0);
    std::string text = records();
    std::size_t at = 0;
    for (int record = 0; record < threads * count; ++record) {
        unsigned id = 0, own = 0;
        int t = -1, i = -1, length = 0;
        ASSERT_EQ(std::sscanf(text.c_str() + at, "%8X T%d\r\n\town=%8X  i=%d\r\n%n", &id, &t, &own, &i, &length), 4);
        EXPECT_EQ(id, own);
        ASSERT_TRUE(t >= 0 && t < threads);
        EXPECT_EQ(i, next[static_cast<std::size_t>(t)]++);
        at += static_cast<std::size_t>(length);
    }
    EXPECT_EQ(text.substr(at), "#Finished\r\n");
}

TEST_F(LogTest, ClosingUnderWritersTearsNothing) {
    logger.open(path);
    std::vector<std::thread> writers;
    for (int t = 0; t < 3; ++t)
        writers.emplace_back([] {
            for (int i = 0; i < 200; ++i) log::write_state("S::Busy", log::state::ok);
        });
    logger.close();
    for (auto& writer : writers) writer.join();
    EXPECT_THAT(records(), testing::EndsWith("#Finished\r\n"));
}

#ifndef _WIN32
// The process may write files of this size only, as on a full disk.
class file_size_limit {
public:
    explicit file_size_limit(rlim_t size) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &previous_);
        const rlimit limit{size, previous_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~file_size_limit() {
        setrlimit(RLIMIT_FSIZE, &previous_);
        std::signal(SIGXFSZ, handler_);
    }
    file_size_limit(const file_size_limit&) = delete;
    file_size_limit& operator=(const file_size_limit&) = delete;

private:
    rlimit previous_{};
    void (*handler_)(int);
};

TEST_F(LogTest, FullDiskLosesWholeRecordsAndTheLogSaysSo) {
    logger.open(path);
    log::write_state("before", log::state::ok);
    {
        const file_size_limit limit(fs::file_size(path) + 5000);
        logger.record([](TextStream& out) { out.text(std::string(6000, 'x').c_str()); });
        EXPECT_EQ(records(), "#before res=ok\r\n");
    }
    {
        const file_size_limit limit(fs::file_size(path) + 20);
        logger.set_components(16);
        log_error([] { throw 7; });
        EXPECT_EQ(records(), "#before res=ok\r\n");
        EXPECT_TRUE(logger.enabled(component::PdbGt));
    }
    log::write_state("after", log::state::ok);
    log::write_state("last", log::state::ok);
    EXPECT_EQ(records(), "#before res=ok\r\n#WARNING: Log records were lost c=3\r\n#after res=ok\r\n#last res=ok\r\n");
}
#endif

}  // namespace
