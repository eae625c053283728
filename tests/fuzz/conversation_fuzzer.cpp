// Reads the input as all that one client sends, and checks that each of its requests gets one whole answer.
#include "core/bridge_protocol.h"
#include "core/stream/MemoryStreams.h"
#include "core/stream/PacketStream.h"
#include "pdb_server/src/command_processor.h"
#include "tests/fuzz/mutator.h"
#include "tests/support/conversations/conversations.h"
#include "tests/support/files/test_files.h"

namespace qv::fuzz {
namespace {

using namespace profiler;
using testing::operator+;
using testing::packets_of;

bytes joined(const std::vector<testing::code_and_payload>& packets) {
    bytes result;
    for (const auto& each : packets) result = result + testing::packet(each.first, each.second);
    return result;
}

// No files but the modules that the seeds name, no environment, no symbol server.
const pdb_server::platform_services services = {
    [](const wchar_t*, wchar_t*, std::uint32_t, std::uint32_t& error) {
        error = 203;
        return 0u;
    },
    [](const std::wstring&, const std::wstring&, const GUID&, std::uint32_t) { return boost::filesystem::path(); }};

// What the server has to say to `sent`, and in which order.
void check_answers(const bytes& sent, const bytes& answered) {
    const auto requests = packets_of(sent);
    const auto answers = packets_of(answered);
    require(joined(answers) == answered, "answers are whole packets");
    require(answers.size() <= requests.size(), "every answer has a request");
    for (std::size_t i = 0; i < answers.size(); ++i) {
        const auto& [code, payload] = answers[i];
        if (i < 2) {
            require(payload.empty(), "the handshake is answered without words");
            continue;
        }
        require(code == requests[i].first, "answers come in the order of the requests");
        MemoryBlockStream asked(requests[i].second), told(payload);
        require(asked.ReadPacked() == told.ReadPacked(), "an answer bears the id of its request");
        told.ReadText();
    }
}

// What a client has sent, and what it is told.
struct client : ICoreStream {
    explicit client(const bytes& sent) : in(sent) {}
    void Read(void* destination, std::uint64_t size) override { in.Read(destination, size); }
    void Write(const void* source, std::uint64_t size) override { out.Write(source, size); }

    MemoryBlockStream in;
    MemoryStream out;
};

outcome run(const unsigned char* data, std::size_t size) {
    const bytes sent(data, data + size);
    client channel(sent);
    PacketStream stream(channel);
    packet_reader reader(stream);
    packet_writer writer(stream);
    bool left = false;
    const auto wait = [&](int) {
        left = left || channel.in.GetPosition() == sent.size();
        return !left;
    };
    const auto result =
        attempt([&] { pdb_server::process_commands([&] { return left; }, wait, &reader, &writer, services); });
    check_answers(sent, channel.out.bytes());
    return result;
}

// Packets go, come twice or change places; or the payload of one changes, whose length is then true all the same.
bool mutate(bytes& data, mutator& source) {
    auto packets = packets_of(data);
    if (packets.empty()) return false;
    const std::size_t at = source.below(packets.size()), other = source.below(packets.size());
    switch (source.below(6)) {
        case 0: packets.erase(packets.begin() + static_cast<std::ptrdiff_t>(at)); break;
        case 1: packets.push_back(packets[at]); break;
        case 2: std::swap(packets[at], packets[other]); break;
        default: source.take_steps(packets[at].second);
    }
    data = joined(packets);
    return true;
}

std::vector<bytes> seeds() {
    std::vector<bytes> result;
    bytes all = testing::handshake(0xFF, {".", "", "srv*x*http://h/s", "cache*y"});
    for (const auto& steps : {testing::every_command(), testing::failing_queries()})
        for (const auto& step : steps) all = all + step.request;
    result.push_back(all + testing::packet(0xFF, {0x01}));
    for (const auto& each : testing::endings())
        if (each.sent.size() < 1000) result.push_back(each.sent);
    for (const char* const name : {"Embedded.dll", "Ranges.dll", "SourceLink.dll", "NonAscii.dll"}) {
        const auto image = testing::fixture(name);
        bytes questions = testing::handshake() + testing::load_request(1, image, testing::mvid_of(image));
        for (const unsigned char code : bytes{0x42, 0x43, 0x45})
            for (unsigned char row = 0; row < 8; ++row) questions = questions + testing::packet(code, {row, 1, row});
        result.push_back(questions + testing::packet(0x44, {1, 1}) + testing::packet(0x31, {2, 1}));
    }
    return result;
}

}  // namespace

const fuzz_target target = {run, seeds, {}, nullptr, mutate, 500};

}  // namespace qv::fuzz
