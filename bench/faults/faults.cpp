// What the running server makes of clients and files that misbehave, of a full disk, and of stops at any moment.
//
//     faults [SECONDS [SCENARIO ...]]
//
// Each scenario starts a server of its own, does its worst to it over the pipe, and looks whether everybody else is
// answered as ever, whether anything is kept, how the server ends and what its log tells. One line a scenario; ends
// with 1 when a promise is broken. SECONDS (120) bounds each of those that repeat themselves. FAULTS_SMALL_DISK names
// a folder on a disk that may be filled up, FAULTS_LOOP one in which a symbolic link "a" leads to "b" and "b" to "a".
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iterator>
#include <random>

#include "bench/faults/scenario.h"

namespace {

using namespace qv::bench;

std::vector<scenario> all_scenarios() {
    std::vector<scenario> all;
    for (auto part : {client_scenarios(), file_scenarios(), log_scenarios(), system_call_scenarios(),
                      library_scenarios(), http_scenarios(), reader_scenarios(), registration_scenarios(),
                      completeness_scenarios(), cabinet_scenarios(), stop_scenarios()})
        std::move(part.begin(), part.end(), std::back_inserter(all));
    return all;
}

bool run(const scenario& one, const circumstances& now) {
    const auto begin = clock::now();
    std::string text;
    bool kept = false;
    try {
        text = one.run(now);
        kept = true;
    } catch (const broken_promise& broken) {
        text = std::string("BROKEN: ") + broken.what();
    } catch (const std::exception& error) {
        text = std::string("FAILED: ") + error.what();
    }
    const seconds passed = clock::now() - begin;
    std::printf("%-22s %7.1f s  %s\n", one.name, passed.count(), text.c_str());
    std::fflush(stdout);
    return kept;
}

// A thread of a scenario that lets an exception go would end the program without a word.
void tell_and_end() {
    try {
        if (const auto thrown = std::current_exception()) std::rethrow_exception(thrown);
        std::fprintf(stderr, "ended without an exception\n");
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ended by: %s\n", error.what());
    } catch (...) {
        std::fprintf(stderr, "ended by an exception of no known kind\n");
    }
    std::abort();
}

}  // namespace

int main(int argc, char* argv[]) {
    if (is_client(argc, argv)) return 0;
    std::set_terminate(&tell_and_end);
    ::testing::InitGoogleTest(&argc, argv);
    GTEST_FLAG_SET(throw_on_failure, true);  // what the test support asserts is a promise, too
    circumstances now;
    now.time = seconds(argc > 1 ? std::atof(argv[1]) : 120);
    now.seed = std::random_device()();
    if (const char* const folder = std::getenv("FAULTS_SMALL_DISK")) now.small_disk = folder;
    if (const char* const folder = std::getenv("FAULTS_LOOP")) now.loop = folder;
    const auto is_wanted = [&](const scenario& one) {
        return argc <= 2 || std::find(argv + 2, argv + argc, std::string(one.name)) != argv + argc;
    };
    std::printf("seed %lu\n", now.seed);
    bool good = true;
    for (const scenario& one : all_scenarios())
        if (is_wanted(one)) good = run(one, now) && good;
    return good ? 0 : 1;
}
