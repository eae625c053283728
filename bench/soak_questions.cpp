#include "bench/soak_questions.h"

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <map>
#include <random>
#include <stdexcept>
#include <utility>

#include "core/bridge_protocol.h"
#include "core/packets.h"
#include "core/stream/MemoryStreams.h"
#include "pdb_server/src/command_processor.h"
#include "tests/support/files/test_files.h"
#include "text/path.h"

namespace qv::soak {
namespace {

namespace fs = boost::filesystem;
using profiler::pdb_bridge_answer;
using testing::packet;
using testing::operator+;

constexpr unsigned char code_of(pdb_bridge_answer command) {
    return static_cast<unsigned char>(command);
}

constexpr unsigned char load_code = code_of(pdb_bridge_answer::load_module);
constexpr unsigned char unload_code = code_of(pdb_bridge_answer::unload_module);
constexpr unsigned char quit_code = code_of(pdb_bridge_answer::quit);
constexpr unsigned char request_id = 1;
constexpr unsigned char first_module = 1;
constexpr unsigned methods_asked = 24;
constexpr unsigned documents_asked = 8;

bytes from(const bytes& payload, std::size_t first) {
    return {payload.begin() + static_cast<std::ptrdiff_t>(std::min(first, payload.size())), payload.end()};
}

bytes load_arguments(const fs::path& image, const GUID& mvid) {
    MemoryStream stream;
    stream.WriteString(text::to_wide(image));
    stream.WriteGuid(mvid);
    return stream.bytes();
}

// --- What is to be heard.

// The payloads of the server's answers to these requests.
std::vector<bytes> hear(const bytes& requests) {
    const bytes sent = testing::handshake() + requests + packet(quit_code, {request_id});
    MemoryBlockStream in(sent);
    MemoryStream out;
    packet_reader reader(in);
    packet_writer writer(out);
    profiler::pdb_server::process_commands([] { return false; }, [](int) { return true; }, &reader, &writer);

    MemoryBlockStream said(out.bytes());
    packet_reader answers(said);
    std::vector<bytes> payloads;
    for (bytes payload; said.GetPosition() != out.bytes().size();) {
        answers.receive(&payload);
        payloads.push_back(payload);
    }
    payloads.erase(payloads.begin(), payloads.begin() + 2);
    return payloads;
}

sample_module ask_all(const fs::path& image, const GUID& mvid) {
    sample_module result{mvid, load_arguments(image, mvid), {}, {}};
    const auto add = [&](pdb_bridge_answer command, const bytes& arguments) {
        result.questions.push_back({code_of(command), arguments, {}});
    };
    for (unsigned char row = 0; row < methods_asked; ++row) {
        add(pdb_bridge_answer::get_method_offsets, {row});
        add(pdb_bridge_answer::get_method_ranges, {row});
    }
    // The first is no document id.
    for (unsigned char id = 0; id < documents_asked; ++id) add(pdb_bridge_answer::get_document, {id});
    add(pdb_bridge_answer::get_source_server_data, {});

    bytes requests = packet(load_code, bytes{request_id} + result.arguments);
    for (const question& each : result.questions)
        requests = requests + packet(each.code, bytes{request_id, first_module} + each.arguments);
    const std::vector<bytes> heard = hear(requests);
    if (heard[0] == bytes{request_id, 0, first_module}) {
        for (std::size_t i = 0; i < result.questions.size(); ++i) result.questions[i].answer = from(heard[i + 1], 1);
    } else {
        result.refusal = from(heard[0], 1);
        result.questions.clear();
    }
    return result;
}

// --- The files.

std::string cut(const std::string& content) {
    return content.substr(0, content.size() / 2);
}

// The same length, and other bytes here and there.
std::string spoilt(std::string content) {
    for (std::size_t i = 500; i < content.size(); i += 97) content[i] = static_cast<char>(content[i] ^ 0x55);
    return content;
}

}  // namespace

std::vector<sample_module> make_modules(const testing::temporary_directory& folder) {
    std::vector<sample_module> modules;
    for (const std::string name : {"Documents", "Embedded", "Hidden", "Mismatch", "NoMethods", "NoSymbols", "NonAscii",
                                   "Ranges", "Sha1", "SourceLink", "Standalone"}) {
        const fs::path image = testing::fixture(name + ".dll"), pdb = testing::fixture(name + ".pdb");
        const GUID mvid = testing::mvid_of(image);
        const std::string content = testing::read_file(image);
        const std::string symbols = fs::exists(pdb) ? testing::read_file(pdb) : "";
        const auto add_copy = [&](const std::string& where, const std::string& dll_content,
                                  const std::string& pdb_content) {
            const fs::path place = fs::path(where) / name;
            if (!pdb_content.empty()) folder.write(place / (name + ".pdb"), pdb_content);
            modules.push_back(ask_all(folder.write(place / (name + ".dll"), dll_content).make_preferred(), mvid));
        };
        modules.push_back(ask_all(image, mvid));
        modules.push_back(ask_all(image, GUID{}));
        add_copy("cut", cut(content), symbols);
        add_copy("spoilt", spoilt(content), symbols);
        add_copy("cut_pdb", content, cut(symbols));
        add_copy("spoilt_pdb", content, spoilt(symbols));
        add_copy("alone", content, "");
    }
    modules.push_back(ask_all(folder.path() / "nothing.dll", GUID{1, 2, 3, {}}));
    return modules;
}

namespace {

// One client with its random choices and what it has loaded.
class client {
public:
    client(ICoreStream& stream, const std::vector<sample_module>& modules, std::uint32_t seed, bool& welcome)
        : stream_(stream), modules_(modules), random_(seed), welcome_(welcome) {}

    std::uint64_t converse() {
        expect(testing::handshake(), testing::handshake_answer());
        for (unsigned left = 1 + up_to(most_steps); left != 0; --left) step();
        if (up_to(5) == 0)
            leave();
        else
            ask(quit_code, {}, {0});
        return answers_;
    }

private:
    static constexpr unsigned most_steps = 80;
    static constexpr unsigned char last_id = 120;  // both kinds of ids are one byte

    unsigned up_to(unsigned end) { return static_cast<unsigned>(random_() % end); }

    void step() {
        const unsigned chance = up_to(100);
        if (loaded_.empty() || chance < 20) return load(up_to(static_cast<unsigned>(modules_.size())));
        const auto chosen = std::next(loaded_.begin(), up_to(static_cast<unsigned>(loaded_.size())));
        if (chance < 30) return unload(chosen->first);
        const std::vector<question>& questions = modules_[chosen->second].questions;
        const question& asked = questions[up_to(static_cast<unsigned>(questions.size()))];
        ask(asked.code, bytes{chosen->first} + asked.arguments, asked.answer);
    }

    // A module that is loaded is not looked for again under another path.
    void load(unsigned index) {
        const sample_module& chosen = modules_[index];
        for (const auto& [id, other] : loaded_)
            if (other != index && modules_[other].mvid == chosen.mvid) return;
        if (next_module_ == last_id) return;
        ask(load_code, chosen.arguments, chosen.refusal ? *chosen.refusal : bytes{0, next_module_});
        if (!chosen.refusal) loaded_[next_module_++] = index;
    }

    void unload(unsigned char id) {
        ask(unload_code, {id}, {0});
        loaded_.erase(id);
        ask(code_of(pdb_bridge_answer::get_method_offsets), {id, 0}, testing::text("Unknown PDB module"));
    }

    // In the middle of a packet, or with an answer under way.
    void leave() {
        const bytes request = packet(code_of(pdb_bridge_answer::get_method_ranges), {1, 1, 1});
        stream_.Write(request.data(), 1 + up_to(static_cast<unsigned>(request.size())));
    }

    void ask(unsigned char code, const bytes& arguments, const bytes& answer) {
        request_id_ = static_cast<unsigned char>(request_id_ % last_id + 1);
        expect(packet(code, bytes{request_id_} + arguments), packet(code, bytes{request_id_} + answer));
    }

    void expect(const bytes& request, const bytes& answer) {
        stream_.Write(request.data(), request.size());
        heard_.resize(answer.size());
        stream_.Read(heard_.data(), heard_.size());
        welcome_ = true;
        if (heard_ != answer) throw std::runtime_error("an unexpected answer to command " + std::to_string(request[0]));
        ++answers_;
    }

    ICoreStream& stream_;
    const std::vector<sample_module>& modules_;
    std::mt19937 random_;
    bool& welcome_;
    std::map<unsigned char, unsigned> loaded_;
    unsigned char next_module_ = first_module;
    unsigned char request_id_ = 0;
    std::uint64_t answers_ = 0;
    bytes heard_;
};

}  // namespace

std::uint64_t converse(ICoreStream& stream, const std::vector<sample_module>& modules, std::uint32_t seed,
                       bool& welcome) {
    return client(stream, modules, seed, welcome).converse();
}

}  // namespace qv::soak
