// Many clients on one server for a given time, with good modules and broken ones, every answer compared.
//
//     soak SECONDS [CSV [SERVER.exe]]
//
// 200 clients have conversation after conversation: load, query, unload at random, and at the end a quit or nothing at
// all. Once a second a line goes to the CSV file (soak.csv): seconds, bytes of memory, handles, threads, answers so
// far. On Windows the server is a process of its own, reached over its pipe; elsewhere it is the command loop in this
// process. Ends with 1 when an answer is not the expected one, when a conversation fails, or when what the server holds
// goes on growing after the first minute. bench/soak_plot.py draws the CSV file.
#include "bench/soak.h"

#include <algorithm>
#include <atomic>
#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/path.hpp>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/soak_questions.h"

namespace qv::soak {
namespace {

constexpr unsigned clients = 200;
constexpr std::size_t warm_up = 60;  // seconds until what the server holds has to be level
constexpr std::uint64_t few = 16;    // handles, threads or listeners that come and go
constexpr std::uint64_t little = std::uint64_t{16} << 20;

class run {
public:
    run(server& host, const std::vector<sample_module>& modules) : host_(host), modules_(modules) {
        for (unsigned i = 0; i < clients; ++i) threads_.emplace_back([this, i] { be_client(i); });
    }
    ~run() { end(); }

    void end() {
        stop_ = true;
        threads_.clear();
    }

    bool failed() const { return failed_; }
    std::uint64_t answers() const { return answers_; }

    void print() const {
        std::printf("%u clients: %llu conversations, %llu answers, %llu connections turned away\n", clients,
                    static_cast<unsigned long long>(conversations_), static_cast<unsigned long long>(answers_),
                    static_cast<unsigned long long>(turned_away_));
        if (failed_) std::printf("FAILED: %s\n", failure_.c_str());
    }

private:
    void be_client(unsigned number) {
        for (std::uint32_t seed = number; !stop_; seed += clients) {
            bool welcome = false;
            try {
                const std::unique_ptr<ICoreStream> stream = host_.connect();
                answers_ += converse(*stream, modules_, seed, welcome);
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

    void fail(const std::string& what) {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!failed_) failure_ = what;
        failed_ = stop_ = true;
    }

    server& host_;
    const std::vector<sample_module>& modules_;
    std::atomic<bool> stop_{false}, failed_{false};
    std::atomic<std::uint64_t> conversations_{0}, answers_{0}, turned_away_{0};
    std::mutex mutex_;
    std::string failure_;
    std::vector<std::jthread> threads_;
};

// --- What the server holds, second by second.

std::uint64_t mean(const std::vector<holdings>& samples, std::size_t first, std::size_t count,
                   std::uint64_t holdings::*what) {
    std::uint64_t sum = 0;
    for (std::size_t i = first; i < first + count; ++i) sum += samples[i].*what;
    return sum / count;
}

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
        const bool good = late <= early + std::max(kind.allowed, early / 20);
        std::printf("%-8s %12llu after the first minute, %12llu at the end%s\n", kind.name,
                    static_cast<unsigned long long>(early), static_cast<unsigned long long>(late),
                    good ? "" : "  GROWS");
        level = level && good;
    }
    return level;
}

std::vector<holdings> watch(const run& load, const server& host, std::chrono::seconds time,
                            const boost::filesystem::path& csv) {
    boost::filesystem::ofstream file(csv);
    file << "seconds,memory,handles,threads,answers\n";
    std::vector<holdings> samples;
    const auto begin = std::chrono::steady_clock::now();
    for (std::chrono::seconds passed{1}; passed <= time && !load.failed(); ++passed) {
        std::this_thread::sleep_until(begin + passed);
        const holdings& now = samples.emplace_back(host.now());
        file << passed.count() << ',' << now.memory << ',' << now.handles << ',' << now.threads << ',' << load.answers()
             << std::endl;
    }
    return samples;
}

}  // namespace

int soak(std::chrono::seconds time, const boost::filesystem::path& csv, const std::wstring& program) {
    const testing::temporary_directory folder;
    const std::vector<sample_module> modules = make_modules(folder);
    const std::unique_ptr<server> host = start_server(program);
    run load(*host, modules);
    const std::vector<holdings> samples = watch(load, *host, time, csv);
    load.end();
    load.print();
    return !load.failed() && is_level(samples) ? 0 : 1;
}

}  // namespace qv::soak
