// Whole conversations over an in-memory pipe, compared byte for byte.
#include "pdb_server/src/command_processor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <boost/iostreams/filter/zlib.hpp>
#include <future>

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

const char* const client_closed = "pipe is closed";

// A server on one end of a pipe; the test plays the client.
class Conversation : public ::testing::Test {
protected:
    Conversation() {
        ended_ = std::async(std::launch::async, [this] {
            const platform_services services = {[](const wchar_t*, wchar_t*, std::uint32_t, std::uint32_t& error) {
                                                    error = 203;
                                                    return 0u;
                                                },
                                                [](const std::wstring&, const std::wstring&, const GUID&,
                                                   std::uint32_t) { return boost::filesystem::path(); }};
            packet_reader reader(*pipe_.server);
            packet_writer writer(*pipe_.server);
            std::string how;
            try {
                process_commands([this] { return stop_.load(); },
                                 [this](int milliseconds) { return pipe_.server->WaitForDataToRead(milliseconds); },
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

    ~Conversation() override { end(); }

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

    // Closes the client's end; the message of the exception that ended the conversation, empty without one.
    std::string end() {
        if (!ended_.valid()) return how_;
        pipe_.client->Close();
        how_ = ended_.get();
        return how_;
    }

    // Waits for the server to end by itself; what it still sent must be exactly `answer`.
    std::string end_of_server(const bytes& answer = {}) {
        how_ = ended_.get();
        EXPECT_EQ(receive(answer.size()), answer);
        unsigned char surplus = 0;
        EXPECT_THROW(pipe_.client->Read(&surplus, 1), std::runtime_error) << "surplus byte " << int{surplus};
        return how_;
    }

    testing::duplex_pipe pipe_;
    std::atomic<bool> stop_{false};
    std::string place_;  // of the failure that ended the conversation; to be read once it has ended
    std::future<std::string> ended_;
    std::string how_;
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

TEST_F(Conversation, StopEndsAnIdleLoop) {
    exchange(handshake(), handshake_answer());
    stop_ = true;
    EXPECT_EQ(end_of_server(), "");
}

TEST_F(Conversation, ClientThatGoesAwayEndsTheLoop) {
    exchange(handshake(), handshake_answer());
    send({0x42, 0x80});
    EXPECT_EQ(end(), client_closed);
}

TEST_F(Conversation, AnswersFailingQueriesAndGoesOn) {
    exchange(handshake(), handshake_answer());
    for (const auto& step : failing_queries()) exchange(step.request, step.answer);
    EXPECT_EQ(end(), client_closed);
}

TEST_F(Conversation, AnswersEveryCommand) {
    exchange(handshake(), handshake_answer());
    for (const auto& step : every_command()) exchange(step.request, step.answer);
    send(packet(0xFF, {11}));
    EXPECT_EQ(end_of_server(packet(0xFF, {11, 0})), "");
}

TEST_F(Conversation, DocumentNameThatCannotBeSentIsAnswered) {
    constexpr GUID id = {1, 2, 3, {4}};
    test::portable_pdb_builder pdb(id, 5);
    pdb.document("/src/\xED\xA0\x80.cs");
    test::pe_builder builder;
    builder.metadata(test::image_metadata(id).build()).codeview(id, 5, "a.pdb").embedded(pdb.build());
    const auto file = builder.build().data;
    const temporary_directory folder;
    const auto image = folder.write("a.dll", std::string(file.begin(), file.end()));
    exchange(handshake(), handshake_answer());
    exchange(load_request(1, image, id), packet(0x30, {1, 0, 1}));
    exchange(packet(0x45, {2, 1, 1}), error_answer(0x45, 2, "bad conversion"));
    exchange(packet(0x44, {3, 1}), packet(0x44, {3, 0, 0}));
    EXPECT_EQ(end(), client_closed);
}

TEST_F(Conversation, CorruptEmbeddedPdbIsAnsweredInTheWordsOfTheLibrary) {
    const temporary_directory folder;
    std::string image = read_file(fixture("Embedded.dll"));
    image.at(image.find("MPDB") + 8) = '\x07';  // a compressed block of no kind
    const auto path = folder.write("Corrupt.dll", image);
    const std::string message = boost::iostreams::zlib_error(boost::iostreams::zlib::data_error).what();
    EXPECT_THAT(message, ::testing::StartsWith("zlib error"));
    exchange(handshake(), handshake_answer());
    exchange(load_request(1, path, mvid_of(path)), error_answer(0x30, 1, message));
}

TEST_F(Conversation, LogTellsWhichRequestHadMalformedArguments) {
    const temporary_directory folder;
    const auto path = folder.path() / "log.txt";
    log::Logger::instance().open(path);
    log::Logger::instance().set_components(1);
    send(handshake() + packet(0x43, {0x05, 0xE0}));
    end_of_server(handshake_answer());
    log::Logger::instance().close();
    EXPECT_THAT(read_file(path), ::testing::HasSubstr(" CP::CmdGetMethodRanges id=5 res=received\r\n"));
}

TEST(MethodRanges, OfDifferentSizesAreNotWritten) {
    for (std::size_t odd = 1; odd < method_ranges().size(); ++odd) {
        method_ranges ranges;
        ranges[odd] = {1};
        MemoryStream stream;
        EXPECT_EQ(qv::test::failure_of([&] { write_method_ranges(ranges, &stream); }),
                  (qv::test::failure{
                      "Inconsistent rage information sizes",
                      "void __cdecl qv::profiler::pdb_server::`anonymous-namespace'::write_result(const struct "
                      "qv::profiler::pdb_server::cmd_get_method_ranges::res_type &,class IWriteCoreStream *)",
                      "pdb_server/src/command_processor",
                      {}}));
        EXPECT_EQ(stream.bytes(), bytes());
    }
}

}  // namespace
}  // namespace qv::profiler::pdb_server
