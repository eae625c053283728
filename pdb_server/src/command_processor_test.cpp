// Whole conversations over an in-memory pipe, compared byte for byte.
#include "pdb_server/src/command_processor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include "core/stream/MemoryStreams.h"
#include "diagnostics/exception_test_support.h"
#include "tests/support/builders/pe_builder.h"
#include "tests/support/builders/portable_pdb_builder.h"
#include "tests/support/conversations/conversations.h"
#include "tests/support/costly_files/allocations.h"
#include "tests/support/files/log_of.h"
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
            const auto how = qv::test::failure_of([&] {
                process_commands([this] { return stop_.load(); },
                                 [this](int milliseconds) {
                                     waited_ = milliseconds;
                                     return pipe_.server->WaitForDataToRead(milliseconds);
                                 },
                                 &reader, &writer, services);
            });
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
    qv::test::failure end_of_server(const bytes& answer = {}) {
        auto how = ended_.get();
        EXPECT_EQ(receive(answer.size()), answer);
        unsigned char surplus = 0;
        EXPECT_THROW(pipe_.client->Read(&surplus, 1), std::runtime_error) << "surplus byte " << int{surplus};
        return how;
    }

    testing::duplex_pipe pipe_;
    std::atomic<bool> stop_{false};
    std::atomic<int> waited_{0};
    std::future<qv::test::failure> ended_;
};

class Endings : public Conversation, public ::testing::WithParamInterface<ending> {};

TEST_P(Endings, EndsTheConnection) {
    send(GetParam().sent);
    const auto how = end_of_server(GetParam().answered);
    EXPECT_EQ(how.message, GetParam().message);
    if (!GetParam().place.empty()) {
        EXPECT_EQ(how.source + ":" + std::to_string(how.line), GetParam().place);
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, Endings, ::testing::ValuesIn(endings()),
                         [](const auto& test) { return test.param.name; });

TEST_F(Conversation, StopEndsALoopThatLooksForItTenTimesASecond) {
    exchange(handshake(), handshake_answer());
    while (waited_ == 0) std::this_thread::yield();
    stop_ = true;
    EXPECT_EQ(end_of_server().message, "");
    EXPECT_EQ(waited_, 100);
}

TEST_F(Conversation, AnswersFailingQueriesAndEveryCommand) {
    exchange(handshake(), handshake_answer());
    for (const auto& step : failing_queries()) exchange(step.request, step.answer);
    for (const auto& step : every_command()) exchange(step.request, step.answer);
}

TEST_F(Conversation, AnswersThatCannotBeSentAndLongOnes) {
    const GUID id = {1, 2, 3, {4}};
    const std::string link(20000, 'x');
    qv::test::portable_pdb_builder pdb(id, 5);
    pdb.document("/src/\xED\xA0\x80.cs");
    pdb.source_link(link);
    qv::test::pe_builder image;
    image.metadata(qv::test::image_metadata(id).build()).embedded(pdb.build()).codeview(id, 5, "a.pdb");
    const bytes file = image.build().data;
    const temporary_directory folder;
    const auto path = folder.write("a.dll", std::string(file.begin(), file.end()));
    exchange(handshake(), handshake_answer());
    exchange(load_request(1, path, id), packet(0x30, {1, 0, 1}));
    exchange(packet(0x45, {2, 1, 1}), error_answer(0x45, 2, "bad conversion"));
    exchange(packet(0x44, {2, 1}),
             bytes{0x44, 0xC0, 0x00, 0x4E, 0x26, 2, 0, 0xC0, 0x00, 0x4E, 0x20} + bytes(link.begin(), link.end()));
}

TEST_F(Conversation, LogTellsWhichRequestHadMalformedArguments) {
    const std::string log = log_of(1, [&] {
        send(handshake() + packet(0x43, {0x05, 0xE0}));
        end_of_server(handshake_answer());
    });
    EXPECT_THAT(log, ::testing::HasSubstr(" CP::CmdGetMethodRanges id=5 res=received\r\n"));
}

TEST(ProcessCommands, NeedsBothCallbacks) {
    const bytes sent = handshake();
    for (const std::function<bool()>& stop : {std::function<bool()>(), std::function<bool()>([] { return false; })}) {
        MemoryBlockStream in(sent);
        MemoryStream out;
        packet_reader reader(in);
        packet_writer writer(out);
        EXPECT_THROW(process_commands(stop, {}, &reader, &writer), std::bad_function_call);
    }
}

// The second round of requests finds the memory of the first.
TEST(ProcessCommands, TakesNoMemoryForWhatIsAskedByTheThousand) {
    const auto module = fixture("Documents.dll");
    const bytes round = packet(0x42, {1, 1, 0}) + packet(0x43, {2, 1, 0}) + packet(0x31, {3, 9});
    const bytes sent = handshake() + load_request(1, module, mvid_of(module)) + round + round + packet(0xFF, {1});
    const std::size_t second_round = sent.size() - round.size() - 3;
    MemoryBlockStream in(sent);
    MemoryStream out;
    packet_reader reader(in);
    packet_writer writer(out);
    const auto wait = [&](int) {
        out.Clear();
        if (in.GetPosition() > second_round) {
            EXPECT_EQ(test::largest_allocation, 0u) << in.GetPosition();
        }
        test::largest_allocation = 0;
        return true;
    };
    process_commands([] { return false; }, wait, &reader, &writer);
    EXPECT_EQ(in.GetPosition(), sent.size());
    EXPECT_EQ(out.bytes(), packet(0xFF, {1, 0}));
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
