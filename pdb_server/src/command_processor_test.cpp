// Whole conversations over an in-memory pipe, compared byte for byte.
#include "pdb_server/src/command_processor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <boost/iostreams/filter/zlib.hpp>
#include <future>

#include "core/src/stream/MemoryBlockStream.h"
#include "core/src/stream/MemoryStream.h"
#include "diagnostics/exception_test_support.h"
#include "pdb_server/src/module_commands.h"
#include "qv/diagnostics/log.h"
#include "tests/support/builders/pe_builder.h"
#include "tests/support/builders/portable_pdb_builder.h"
#include "tests/support/conversations/conversations.h"
#include "tests/support/files/test_files.h"
#include "tests/support/streams/duplex_pipe.h"

namespace qv::profiler::pdb_server {
namespace {

using namespace qv::testing;

// A server on one end of a pipe; the test plays the client.
class Conversation : public ::testing::Test {
protected:
    Conversation() {
        ended_ = std::async(std::launch::async, [this] {
            const platform_services services = {
                [](const wchar_t*, wchar_t*, std::uint32_t, std::uint32_t& error) {
                    error = 203;
                    return 0u;
                },
                [](const std::wstring&, const std::wstring&, const GUID&, std::uint32_t) -> boost::filesystem::path {
                    throw std::bad_alloc();
                }};
            packet_reader reader(*pipe_.server);
            packet_writer writer(*pipe_.server);
            std::string how;
            try {
                process_commands([this] { return stop_.load(); },
                                 [this](int milliseconds) {
                                     waited_ = milliseconds;
                                     return pipe_.server->WaitForDataToRead(milliseconds);
                                 },
                                 &reader, &writer, services);
            } catch (const qv::exception& error) {
                how = error.what();
                place_ = error.where().source + std::string(":") + std::to_string(error.where().line);
            } catch (const std::exception& error) {
                how = error.what();
            }
            pipe_.server->Close();
            return how;
        });
    }

    ~Conversation() override { pipe_.client->Close(); }

    void send(const bytes& request) { pipe_.client->Write(request.data(), request.size()); }

    bytes receive(std::size_t size) {
        bytes answer(size);
        pipe_.client->Read(answer.data(), size);
        return answer;
    }

    // Sends and compares the answer, which must be exactly this.
    void exchange(const bytes& request, const bytes& answer) {
        send(request);
        EXPECT_EQ(receive(answer.size()), answer);
    }

    // Waits for the server to end by itself; what it still sent must be exactly `answer`.
    std::string end_of_server(const bytes& answer = {}) {
        const std::string how = ended_.get();
        EXPECT_EQ(receive(answer.size()), answer);
        unsigned char surplus = 0;
        EXPECT_THROW(pipe_.client->Read(&surplus, 1), std::runtime_error) << "surplus byte " << int{surplus};
        return how;
    }

    // Shakes hands and loads an image that embeds `pdb_`, as module 1.
    void load() {
        qv::test::pe_builder image;
        image.metadata(qv::test::image_metadata(id_).build()).codeview(id_, 5, "a.pdb").embedded(pdb_.build());
        const bytes file = image.build().data;
        const auto path = folder_.write("a.dll", std::string(file.begin(), file.end()));
        exchange(handshake(), handshake_answer());
        exchange(load_request(1, path, id_), packet(0x30, {1, 0, 1}));
    }

    const GUID id_ = {1, 2, 3, {4}};
    qv::test::portable_pdb_builder pdb_{id_, 5};
    const temporary_directory folder_;
    testing::duplex_pipe pipe_;
    std::atomic<bool> stop_{false};
    std::atomic<int> waited_{0};
    std::string place_;               // of the failure that ended the conversation; to be read once it has ended
    std::future<std::string> ended_;  // with the message of the failure, if any
};

class Endings : public Conversation, public ::testing::WithParamInterface<ending> {};

TEST_P(Endings, EndsTheConnection) {
    send(GetParam().sent);
    EXPECT_EQ(end_of_server(GetParam().answered), GetParam().message);
    if (!GetParam().place.empty()) {
        EXPECT_EQ(place_, GetParam().place);
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, Endings, ::testing::ValuesIn(endings()),
                         [](const auto& test) { return test.param.name; });

TEST_F(Conversation, QuitEndsTheLoopWithoutReadingFurther) {
    send(handshake() + packet(0xFF, {0x80, 0x85}) + packet(0x32));
    EXPECT_EQ(end_of_server(handshake_answer() + packet(0xFF, {0x80, 0x85, 0x00})), "");
}

TEST_F(Conversation, StopEndsALoopThatLooksForItTenTimesASecond) {
    exchange(handshake(), handshake_answer());
    while (waited_ == 0) std::this_thread::yield();
    stop_ = true;
    EXPECT_EQ(end_of_server(), "");
    EXPECT_EQ(waited_, 100);
}

TEST_F(Conversation, ClientThatGoesAwayEndsTheLoop) {
    exchange(handshake(), handshake_answer());
    send({0x42, 0x80});
    pipe_.client->Close();
    EXPECT_EQ(ended_.get(), "pipe is closed");
}

TEST_F(Conversation, AnswersFailingQueriesAndEveryCommand) {
    exchange(handshake(), handshake_answer());
    for (const auto& step : failing_queries()) exchange(step.request, step.answer);
    for (const auto& step : every_command()) exchange(step.request, step.answer);
}

TEST_F(Conversation, DocumentNameThatCannotBeSentIsAnswered) {
    pdb_.document("/src/\xED\xA0\x80.cs");
    load();
    exchange(packet(0x45, {2, 1, 1}), error_answer(0x45, 2, "bad conversion"));
    exchange(packet(0x44, {3, 1}), packet(0x44, {3, 0, 0}));
}

TEST_F(Conversation, LongAnswersHaveLongLengths) {
    const std::string link(20000, 'x');
    pdb_.source_link(link);
    load();
    exchange(packet(0x44, {2, 1}),
             bytes{0x44, 0xC0, 0x00, 0x4E, 0x26, 2, 0, 0xC0, 0x00, 0x4E, 0x20} + bytes(link.begin(), link.end()));
}

TEST_F(Conversation, CorruptEmbeddedPdbIsAnsweredInTheWordsOfTheLibrary) {
    std::string image = read_file(fixture("Embedded.dll"));
    image.at(image.find("MPDB") + 8) = '\x07';  // a compressed block of no kind
    const auto path = folder_.write("Corrupt.dll", image);
    const std::string message = boost::iostreams::zlib_error(boost::iostreams::zlib::data_error).what();
    EXPECT_THAT(message, ::testing::StartsWith("zlib error"));
    exchange(handshake(), handshake_answer());
    exchange(load_request(1, path, mvid_of(path)), error_answer(0x30, 1, message));
}

TEST_F(Conversation, LogTellsWhichRequestHadMalformedArguments) {
    const auto path = folder_.path() / "log.txt";
    log::Logger::instance().open(path);
    log::Logger::instance().set_components(1);
    send(handshake() + packet(0x43, {0x05, 0xE0}));
    end_of_server(handshake_answer());
    log::Logger::instance().close();
    EXPECT_THAT(read_file(path), ::testing::HasSubstr(" CP::CmdGetMethodRanges id=5 res=received\r\n"));
}

TEST(ProcessCommands, NeedsBothCallbacks) {
    const auto run = [](const std::function<bool()>& stop, const std::function<bool(int)>& wait) {
        const bytes sent = handshake();
        MemoryBlockStream in(sent);
        MemoryStream out;
        packet_reader reader(in);
        packet_writer writer(out);
        process_commands(stop, wait, &reader, &writer);
    };
    EXPECT_THROW(run({}, [](int) { return false; }), std::bad_function_call);
    EXPECT_THROW(run([] { return false; }, {}), std::bad_function_call);
}

TEST_F(Conversation, AQueryMayRunOutOfMemory) {
    exchange(handshake(2, {"srv*store"}), handshake_answer());
    for (const unsigned char id : bytes{1, 2})
        exchange(load_request(id, fixture("Mismatch.dll"), mvid_of(fixture("Mismatch.dll"))),
                 error_answer(0x30, id, "Out of memory"));
}

TEST(MethodRanges, OfDifferentSizesAreNotWritten) {
    for (std::size_t odd = 0; odd < method_ranges().size(); ++odd) {
        method_ranges ranges;
        ranges[odd] = {1};
        MemoryStream stream;
        EXPECT_EQ(qv::test::message_of([&] { write_method_ranges(ranges, &stream); }),
                  "Inconsistent rage information sizes");
        EXPECT_EQ(stream.bytes(), bytes());
    }
}

}  // namespace
}  // namespace qv::profiler::pdb_server
