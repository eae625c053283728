// Threads that share a symbol engine and its modules.
#include <array>
#include <atomic>
#include <cstdio>
#include <random>
#include <stdexcept>
#include <thread>

#include "bench/soak.h"
#include "pdb_server/src/pdb_processor.h"
#include "tests/support/conversations/conversations.h"
#include "tests/support/files/test_files.h"

namespace qv::soak {
namespace {

using profiler::pdb_server::pdb_processor;

constexpr unsigned methods_asked = 24, documents_asked = 8;
constexpr unsigned kinds = 2 * methods_asked + documents_asked + 1;
constexpr const char* unknown_module = "Unknown PDB module";

template <class Numbers>
void add(std::string& answer, const Numbers& numbers) {
    for (const auto number : numbers) answer += std::to_string(number) + ' ';
    answer += ';';
}

// The answer to the question of this number, or the message of its failure.
std::string ask(const pdb_processor& engine, unsigned module, unsigned question) {
    std::string answer;
    try {
        if (question < 2 * methods_asked) {
            const unsigned token = 0x06000001 + question / 2;
            std::array<profiler::pdb_server::point_values, 5> columns;
            if (question % 2 == 0)
                engine.get_method_offsets(module, token, columns[0]);
            else
                engine.get_method_ranges(module, token, columns[0], columns[1], columns[2], columns[3], columns[4]);
            for (const auto& column : columns) add(answer, column);
        } else if (question < kinds - 1) {
            std::wstring url;
            GUID algorithm{};
            std::vector<unsigned char> checksum;
            engine.get_document(module, 1 + question - 2 * methods_asked, url, algorithm, checksum);
            add(answer, url);
            add(answer, checksum);
        } else {
            std::vector<unsigned char> data;
            engine.get_source_server_data(module, data);
            add(answer, data);
        }
    } catch (const std::exception& error) {
        answer = error.what();
    }
    return answer;
}

struct shared_module {
    boost::filesystem::path image;
    GUID mvid;
    unsigned id;                       // stays as long as anybody asks
    std::vector<std::string> answers;  // as one thread alone gets them
};

class shared_modules final : public load {
public:
    explicit shared_modules(unsigned clients) {
        engine_.init(0, {});
        for (const std::string name :
             {"Documents", "Embedded", "Hidden", "NonAscii", "Ranges", "Sha1", "SourceLink", "Standalone"}) {
            const auto image = testing::fixture(name + ".dll");
            shared_module module{image, testing::mvid_of(image), 0, {}};
            module.id = engine_.load_module(module.image, module.mvid);
            if (module.id == 0) throw std::runtime_error(name + " has no symbols");
            for (unsigned i = 0; i < kinds; ++i) module.answers.push_back(ask(engine_, module.id, i));
            modules_.push_back(module);
        }
        start([this] { come_and_go(); });
        for (unsigned i = 0; i < clients; ++i) start([this, i] { be_client(i); });
    }
    ~shared_modules() override { end(); }

private:
    // A further module, under an id that is known as long as it is loaded.
    void come_and_go() {
        const auto image = testing::fixture("NoMethods.dll");
        const GUID mvid = testing::mvid_of(image);
        while (!stopping()) {
            const unsigned id = engine_.load_module(image, mvid);
            guest_ = id;
            for (const std::uint64_t before = answers(); answers() < before + modules_.size() && !stopping();)
                std::this_thread::yield();
            engine_.unload_module(id);
        }
    }

    void be_client(unsigned seed) {
        std::mt19937 random(seed);
        while (!stopping()) {
            const auto question = static_cast<unsigned>(random() % kinds);
            if (random() % 4 == 0) {
                if (ask(engine_, guest_, question) == unknown_module) ++too_late_;
            } else {
                const shared_module& module = modules_[random() % modules_.size()];
                const std::string answer = ask(engine_, module.id, question);
                if (answer != module.answers[question])
                    fail("an unexpected answer to question " + std::to_string(question) + ": " + answer);
            }
            count_answers(1);
        }
    }

    void print_counts() const override {
        std::printf("%llu answers about shared modules, %llu of them about one just unloaded\n",
                    static_cast<unsigned long long>(answers()), static_cast<unsigned long long>(too_late_));
    }

    pdb_processor engine_;
    std::vector<shared_module> modules_;
    std::atomic<unsigned> guest_{1};
    std::atomic<std::uint64_t> too_late_{0};
};

}  // namespace

std::unique_ptr<load> ask_for_shared_modules(unsigned clients) {
    return std::make_unique<shared_modules>(clients);
}

}  // namespace qv::soak
