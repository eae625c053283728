// Every allocation of a piece of work fails in turn. Whatever the work made of that, nothing leaks, and the same work
// on the same objects does what it does when nothing fails.
#include <gmock/gmock.h>

#include "core/stream/MemoryStreams.h"
#include "pdb_server/src/command_processor.h"
#include "symbol_services/classic_reader/pdb.h"
#include "tests/support/conversations/conversations.h"
#include "tests/support/costly_files/allocations.h"
#include "tests/support/files/test_files.h"
#include "tests/support/pdb_writer/pdb_writer.h"

namespace qv {
namespace {

using namespace testing;

// Whether the work came to its n-th allocation, which fails.
template <class Work>
bool fails_at(std::size_t n, Work&& work) {
    test::failing_allocation = n;
    try {
        work();
    } catch (const std::exception&) {
        // Whichever failure that becomes.
    }
    return std::exchange(test::failing_allocation, 0) == 0;
}

// `make` makes what `work` works on, afresh for each allocation.
template <class Make, class Work>
void fail_each(Make&& make, Work&& work) {
    const auto expected = work(make());
    for (std::size_t n = 1; !::testing::Test::HasFailure(); ++n) {
        const auto object = make();
        const bool failed = fails_at(n, [&] { work(object); });
        EXPECT_EQ(work(object), expected) << "after the failure of allocation " << n;
        if (!failed) {
            EXPECT_GT(n, 1u);
            return;
        }
    }
}

// All that the server sends to who sends this, and whether an allocation failed.
std::pair<bytes, bool> converse(const bytes& sent, std::size_t failing) {
    MemoryBlockStream in(sent);
    MemoryStream out;
    packet_reader reader(in);
    packet_writer writer(out);
    const bool failed = fails_at(failing, [&] {
        profiler::pdb_server::process_commands([&] { return in.GetPosition() == sent.size(); },
                                               [](int) { return true; }, &reader, &writer);
    });
    return {out.bytes(), failed};
}

TEST(AllocationFailure, EndsAConversationOrIsAnswered) {
    bytes sent = handshake(2, {"C:\\symbols", "/symbols"});
    for (const auto& step : every_command()) sent = sent + step.request;
    constexpr std::size_t never = 1u << 30;
    const auto expected = converse(sent, never);
    const auto usual = packets_of(expected.first);
    std::size_t answered = 0, ended = 0;
    for (std::size_t n = 1; true; ++n) {
        const auto [received, failed] = converse(sent, n);
        if (!failed) break;
        const auto answers = packets_of(received);
        ++(answers.size() == usual.size() ? answered : ended);
        const auto odd = std::mismatch(answers.begin(), answers.end(), usual.begin(), usual.end()).first;
        if (odd == answers.end()) continue;
        MemoryBlockStream payload(odd->second);
        payload.ReadPacked();
        EXPECT_NE(payload.ReadText(), "") << "allocation " << n << ": another answer than usual is an error";
    }
    EXPECT_GT(answered, 100u);
    EXPECT_GT(ended, 30u);
    EXPECT_EQ(converse(sent, never), expected);
}

TEST(AllocationFailure, LeavesAModuleThatAnswers) {
    using profiler::pdb_server::pdb_processor;
    for (const char* const name : {"Documents.dll", "Embedded.dll", "SourceLink.dll"}) {
        const auto image = fixture(name);
        const GUID mvid = mvid_of(image);
        const auto load = [&](const std::shared_ptr<pdb_processor>& engine) {
            return engine->load_module(image, mvid) != 0;
        };
        const auto make = [] { return std::make_shared<pdb_processor>(); };
        fail_each(make, load);
        const auto make_loaded = [&] {
            auto engine = make();
            EXPECT_TRUE(load(engine));
            return engine;
        };
        fail_each(make_loaded, [](const std::shared_ptr<pdb_processor>& engine) {
            profiler::pdb_server::point_values offsets, ranges[5];
            std::wstring url;
            GUID algorithm;
            bytes checksum, source;
            engine->get_method_offsets(1, 0x06000001, offsets);
            engine->get_method_ranges(1, 0x06000001, ranges[0], ranges[1], ranges[2], ranges[3], ranges[4]);
            engine->get_document(1, 1, url, algorithm, checksum);
            engine->get_source_server_data(1, source);
            return std::tuple(offsets, ranges[1], url, checksum, source);
        });
    }
}

TEST(AllocationFailure, LeavesAClassicPdbThatAnswers) {
    using classic_reader::pdb;
    auto description = test::sample_pdb_description();
    description.named = {{"sourcelink", bytes(5, 'z')}};
    const bytes file = test::write_pdb(description);
    fail_each([&] { return file; }, [](const bytes& content) { return pdb::open(content)->document_count(); });
    fail_each([&] { return pdb::open(file); },
              [](const std::shared_ptr<const pdb>& opened) {
                  std::vector<std::size_t> points;
                  for (const auto method : opened->methods()) points.push_back(opened->points(method).size());
                  const auto document = opened->get_document(0);
                  return std::tuple(points, document.url, document.checksum, opened->find_document(document.url),
                                    opened->methods_at(0, 1), opened->closest_line(0, 1), opened->embedded_source(0),
                                    opened->source_server_data());
              });
}

}  // namespace
}  // namespace qv
