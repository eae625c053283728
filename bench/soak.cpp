// Many clients on one server for a given time, with good modules and broken ones, every answer compared.
//
//     soak SECONDS [CSV [SERVER.exe]] [clients=N] [log=FILE] [shared=1]
//
// 200 clients, or as many as are asked for, have conversation after conversation: load, query, unload at random, and at
// the end a quit or nothing at all. Once a second a line goes to the CSV file (soak.csv): seconds, bytes of memory,
// handles, threads, answers so far. With `log` the server writes its log of all components there. With `shared` the
// clients are threads that ask one symbol engine of this process for the same modules, which another thread loads and
// unloads. On Windows the server is a process of its own, reached over its pipe; elsewhere it is the command loop in
// this process. Ends with 1 when an answer is not the expected one, when a conversation fails, or when what the server
// holds goes on growing after the first minute. bench/soak_plot.py draws the CSV file.
#include "bench/soak.h"

#include <algorithm>
#include <atomic>
#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/path.hpp>
#include <chrono>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/soak_questions.h"
#include "text/path.h"

namespace qv::soak {
namespace {

constexpr std::size_t warm_up = 60;  // seconds until what the server holds has to be level
constexpr std::uint64_t few = 16;    // handles, threads or listeners that come and go
constexpr std::uint64_t little = std::uint64_t{16} << 20;

class conversations final : public load {
public:
    conversations(server& host, const std::vector<sample_module>& modules, unsigned clients)
        : host_(host), modules_(modules), clients_(clients) {
        for (unsigned i = 0; i < clients; ++i) start([this, i] { be_client(i); });
    }
    ~conversations() override { end(); }

private:
    void be_client(unsigned number) {
        for (std::uint32_t seed = number; !stopping(); seed += clients_) {
            bool welcome = false;
            try {
                const std::unique_ptr<ICoreStream> stream = host_.connect();
                count_answers(converse(*stream, modules_, seed, welcome));
                ++conversations_;
            } catch (const std::exception& error) {
                // A listener that is no longer needed may go just as a client comes, who has to come again.
                if (welcome)
                    fail(error.what());
                else if (++turned_away_ > few + conversations_ / 100)
                    fail("too many are turned away: " + std::string(error.what()));
            }
        }
    }

    void print_counts() const override {
        std::printf("%u clients: %llu conversations, %llu answers, %llu connections turned away\n", clients_,
                    static_cast<unsigned long long>(conversations_), static_cast<unsigned long long>(answers()),
                    static_cast<unsigned long long>(turned_away_));
    }

    server& host_;
    const std::vector<sample_module>& modules_;
    const unsigned clients_;
    std::atomic<std::uint64_t> conversations_{0}, turned_away_{0};
};

// --- What the server holds, second by second.

std::uint64_t mean(const std::vector<holdings>& samples, std::size_t first, std::size_t count,
                   std::uint64_t holdings::*what) {
    std::uint64_t sum = 0;
    for (std::size_t i = first; i < first + count; ++i) sum += samples[i].*what;
    return sum / count;
}

// The thread sanitizer remembers more the longer it runs.
#ifdef __SANITIZE_THREAD__
constexpr bool tells_memory = false;
#else
constexpr bool tells_memory = true;
#endif

// Compares the quarter after the first minute with the last quarter.
bool is_level(const std::vector<holdings>& samples) {
    if (samples.size() < 2 * warm_up) {
        std::printf("too short to tell whether the server's holdings are level\n");
        return true;
    }
    const std::size_t quarter = (samples.size() - warm_up) / 4;
    const struct {
        const char* name;
        std::uint64_t holdings::*what;
        std::uint64_t allowed;
    } kinds[] = {{"memory", &holdings::memory, little},
                 {"handles", &holdings::handles, few},
                 {"threads", &holdings::threads, few}};
    bool level = true;
    for (const auto& kind : kinds) {
        const std::uint64_t early = mean(samples, warm_up, quarter, kind.what);
        const std::uint64_t late = mean(samples, samples.size() - quarter, quarter, kind.what);
        const bool is_known = tells_memory || kind.what != &holdings::memory;
        const bool good = !is_known || late <= early + std::max(kind.allowed, early / 20);
        std::printf("%-8s %12llu after the first minute, %12llu at the end%s\n", kind.name,
                    static_cast<unsigned long long>(early), static_cast<unsigned long long>(late),
                    good ? is_known ? "" : "  (the thread sanitizer's too)" : "  GROWS");
        level = level && good;
    }
    return level;
}

std::vector<holdings> watch(const load& asking, const server& host, std::chrono::seconds time,
                            const boost::filesystem::path& csv) {
    boost::filesystem::ofstream file(csv);
    file << "seconds,memory,handles,threads,answers\n";
    std::vector<holdings> samples;
    const auto begin = std::chrono::steady_clock::now();
    for (std::chrono::seconds passed{1}; passed <= time && !asking.failed(); ++passed) {
        std::this_thread::sleep_until(begin + passed);
        const holdings& now = samples.emplace_back(host.now());
        file << passed.count() << ',' << now.memory << ',' << now.handles << ',' << now.threads << ','
             << asking.answers() << std::endl;
    }
    return samples;
}

// Nothing where a word is no setting.
std::optional<settings> settings_of(const std::vector<std::wstring>& words) {
    settings chosen;
    std::vector<std::wstring> plain;
    try {
        for (const std::wstring& word : words) {
            const std::size_t at = word.find(L'=');
            const std::wstring name = word.substr(0, at), value = at == word.npos ? L"" : word.substr(at + 1);
            if (at == word.npos)
                plain.push_back(word);
            else if (name == L"clients")
                chosen.clients = static_cast<unsigned>(std::stoul(value));
            else if (name == L"log")
                chosen.log = value;
            else if (name == L"shared")
                chosen.shared = value == L"1";
            else
                return std::nullopt;
        }
        if (plain.empty() || plain.size() > 3) return std::nullopt;
        chosen.time = std::chrono::seconds(std::stoul(plain[0]));
    } catch (const std::logic_error&) {
        return std::nullopt;  // no number
    }
    if (plain.size() > 1) chosen.csv = plain[1];
    if (plain.size() > 2) chosen.program = plain[2];
    return chosen;
}

}  // namespace

int soak(const std::vector<std::wstring>& words) {
    const auto chosen = settings_of(words);
    if (!chosen) {
        std::fputs("soak SECONDS [CSV [SERVER.exe]] [clients=N] [log=FILE] [shared=1]\n", stderr);
        return 2;
    }
    const testing::temporary_directory folder;
    const std::vector<sample_module> modules = chosen->shared ? std::vector<sample_module>() : make_modules(folder);
    const std::unique_ptr<server> host = start_server(*chosen);
    std::unique_ptr<load> asking;
    if (chosen->shared)
        asking = ask_for_shared_modules(chosen->clients);
    else
        asking = std::make_unique<conversations>(*host, modules, chosen->clients);
    const std::vector<holdings> samples = watch(*asking, *host, chosen->time, text::to_path(chosen->csv));
    asking->end();
    asking->print();
    return !asking->failed() && is_level(samples) ? 0 : 1;
}

}  // namespace qv::soak
