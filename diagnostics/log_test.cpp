#include "diagnostics/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/algorithm/string/replace.hpp>
#include <boost/filesystem.hpp>
#include <cstdio>
#include <future>
#include <system_error>
#include <thread>
#include <vector>

#include "base/thread.h"
#include "diagnostics/exception_test_support.h"
#include "tests/support/files/test_files.h"

#ifndef _WIN32
#include <sys/resource.h>

#include <csignal>
#endif

namespace {

namespace fs = boost::filesystem;
using namespace qv;
using log::component;
using log::TextStream;
using ::testing::EndsWith;
using ::testing::StartsWith;

std::string thread_prefix() {
    char text[16];
    std::snprintf(text, sizeof text, "%08X ", quorvex::common::os::current_thread_id());
    return text;
}

// The process's log in a folder of its own.
class LogTest : public ::testing::Test {
protected:
    void TearDown() override { logger.close(); }

    // What followed the opening records, the thread prefix at each line's beginning written as "#".
    std::string records() const {
        const std::string all = qv::testing::read_file(path);
        std::string text = all.substr(all.find("\r\n", all.find("\r\n\tProcess ") + 2) + 2);
        boost::algorithm::replace_all(text, thread_prefix(), "#");
        return text;
    }

    qv::testing::temporary_directory folder;
    fs::path path = folder.path() / "server.log";
    log::Logger& logger = log::Logger::instance();
};

TEST_F(LogTest, ComponentsAreOnlyEverAdded) {
    logger.open(path);
    for (const int mask : {65518, 1, 16}) {
        logger.set_components(static_cast<std::uint16_t>(mask));
        log::write_received(component::CoreBridge, "CP::X", 3);
        log::write_executed(component::PdbGt, "PP::X", UINT64_MAX);
    }
    EXPECT_EQ(records(),
              "#UpdateComponentMask maskSet=FFEE maskClear=0000\r\n\t 0: [ ] CoreBridge\r\n\t 4: [ ] PdbGt\r\n"
              "#UpdateComponentMask maskSet=0001 maskClear=0000\r\n\t 0: [X] CoreBridge\r\n\t 4: [ ] PdbGt\r\n"
              "#CP::X id=3 res=received\r\n"
              "#UpdateComponentMask maskSet=0010 maskClear=0000\r\n\t 0: [X] CoreBridge\r\n\t 4: [X] PdbGt\r\n"
              "#CP::X id=3 res=received\r\n#PP::X id=18446744073709551615 res=executed\r\n");
}

TEST_F(LogTest, SaysWhatWasCaughtAndHowAScopeWasLeft) {
    logger.open(path);
    logger.set_components(16);
    const std::error_code code = std::make_error_code(std::future_errc::no_state);
    try {
        const log::scope loud(component::PdbGt, "PP::Term");
        throw std::system_error(code);
    } catch (const std::exception&) {
        const log::scope inside_a_handler(component::PdbGt, "PP::X");
        log::write_warning("DSR::X");
        log::write_error();
    }
    EXPECT_THAT(records(), EndsWith("PdbGt\r\n#PP::Term res=started\r\n#PP::Term res=exited\r\n#PP::X res=started\r\n"
                                    "#WARNING: future context=DSR::X\r\n\t'" +
                                    code.message() + "'\r\n#ERROR: future\r\n\t'" + code.message() +
                                    "'\r\n#PP::X res=finished\r\n"));
}

TEST_F(LogTest, ThrowingBodyIsMarkedAndTheNextRecordStartsAfresh) {
    logger.open(path);
    logger.record([](TextStream& out) {
        out.new_line().text("half");
        throw 7;
    });
    std::string name;
    while (name.size() < 200'000) name += std::to_string(name.size());
    logger.record([&](TextStream& out) { out.key("long").text(name.c_str()); });
    EXPECT_EQ(records(), "#\r\n\thalf[Exception was thrown during logging]\r\n# long=" + name + "\r\n");
}

TEST_F(LogTest, OpensAndClosesOnceAndAgain) {
    EXPECT_EQ(test::message_of([&] { logger.open(path / "none" / "x.log"); }), "Can't create file");
    logger.set_components(17);
    EXPECT_FALSE(logger.enabled() || logger.enabled(component::CoreBridge) || logger.enabled(component::PdbGt));
    logger.open(path);
    logger.set_components(17);
    const auto other = path.parent_path() / "other.log";
    logger.open(other);
    EXPECT_FALSE(fs::exists(other));
    EXPECT_TRUE(logger.enabled(component::CoreBridge));
    logger.close();
    logger.close();
    log::write_event("S::X", "late");
    EXPECT_THAT(records(), EndsWith("PdbGt\r\n#Finished\r\n"));
    EXPECT_FALSE(logger.enabled(component::CoreBridge) || logger.enabled(component::PdbGt));
    logger.open(path);
    EXPECT_EQ(records(), "");
}

TEST_F(LogTest, ThreadsNeverInterleaveAndClosingTearsNothing) {
    constexpr int threads = 4;
    logger.open(path);
    std::vector<std::thread> writers;
    writers.reserve(threads);
    for (int t = 0; t < threads; ++t)
        writers.emplace_back([this, t] {
            for (int i = 0; i < 100 * (t + 1); ++i)
                logger.record([&](TextStream& out) {
                    out.text("T").Dec(t);
                    std::this_thread::yield();  // without a lock another one comes here
                    out.new_line().key("own").text(thread_prefix().c_str()).key("i").Dec(i);
                });
        });
    writers[0].join();  // the others have more to write
    logger.close();
    for (int t = 1; t < threads; ++t) writers[static_cast<std::size_t>(t)].join();

    std::vector<int> next(threads, 0);
    const std::string text = records();
    std::size_t at = 0;
    while (text.compare(at, std::string::npos, "#Finished\r\n") != 0) {
        unsigned id = 0, own = 0;
        int t = -1, i = -1, length = 0;
        ASSERT_EQ(std::sscanf(text.c_str() + at, "%8X T%d\r\n\town=%8X  i=%d\r\n%n", &id, &t, &own, &i, &length), 4);
        EXPECT_EQ(id, own);
        ASSERT_TRUE(t >= 0 && t < threads);
        EXPECT_EQ(i, next[static_cast<std::size_t>(t)]++);
        at += static_cast<std::size_t>(length);
    }
}

#ifndef _WIN32
// The process may write files of this size only, as on a full disk.
template <class Action>
void with_files_limited_to(rlim_t size, Action&& action) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit previous{};
    getrlimit(RLIMIT_FSIZE, &previous);
    const rlimit limit{size, previous.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    action();
    setrlimit(RLIMIT_FSIZE, &previous);
}

TEST_F(LogTest, FullDiskLosesWholeRecordsAndTheLogSaysSo) {
    logger.open(path);
    log::write_event("S::X", "before");
    with_files_limited_to(fs::file_size(path) + 70'000,
                          [&] { logger.record([](TextStream& out) { out.text(std::string(100'000, 'x').c_str()); }); });
    EXPECT_EQ(records(), "#S::X event=before\r\n");
    with_files_limited_to(fs::file_size(path) + 20, [&] {
        logger.set_components(16);
        log::write_event("S::X", "lost");
    });
    EXPECT_EQ(records(), "#S::X event=before\r\n");
    EXPECT_TRUE(logger.enabled(component::PdbGt));
    log::write_event("S::X", "after");
    log::write_event("S::X", "last");
    EXPECT_EQ(records(),
              "#S::X event=before\r\n#WARNING: Log records were lost c=3\r\n#S::X event=after\r\n"
              "#S::X event=last\r\n");
    with_files_limited_to(fs::file_size(path), [&] { logger.close(); });
    logger.open(path);
    EXPECT_THAT(qv::testing::read_file(path), StartsWith(thread_prefix() + "Initialized"));
}
#endif

}  // namespace
