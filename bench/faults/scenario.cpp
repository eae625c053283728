#include "bench/faults/scenario.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "qv/portable_executable/readers.h"

namespace qv::bench {

using namespace testing;

namespace {

// Clients come and go while the system tears their threads down.
constexpr DWORD handles_in_flight = 16;

constexpr std::array<std::string_view, 7> failures_of_lost_clients = {
    "Can't read data",
    "Can't write data",
    "No data to read",
    "Zero length data has been written",
    "Failed to check data for reading",
    "Failed to wait operation to be completed",
    "Can't connect named pipe",
};

}  // namespace

bool is_of_a_lost_client(const std::string& failure) {
    return std::any_of(failures_of_lost_clients.begin(), failures_of_lost_clients.end(),
                       [&](std::string_view text) { return failure.starts_with(text); });
}

watched_server::watched_server() : observer_(server_.pipe_id()) {
    // What is made for the first client stays.
    promise(served_client(server_).wrong_answers(every_command()) == 0, "a server that answers at all");
    wait_until_settled();
    handles_ = server_.holdings().handles;
}

void watched_server::wait_until_settled() const {
    constexpr unsigned wanted = 1 + 3;  // the observer's own and three listeners
    const auto end = clock::now() + std::chrono::seconds(60);
    while (observer_.instances() != wanted) {
        promise(clock::now() < end, "three listeners again, not " + std::to_string(observer_.instances()));
        Sleep(50);
    }
}

void watched_server::expect_as_before() {
    promise(served_client(server_).wrong_answers(every_command()) == 0, "every command answered afterwards");
    wait_until_settled();
    const std::size_t now = server_.holdings().handles;
    promise(now < handles_ + handles_in_flight,
            "no handles kept: " + std::to_string(handles_) + " before, " + std::to_string(now) + " now");
}

void watched_server::expect_orderly_end() {
    server_.request_stop();
    promise(server_.exit_code() == 0, "exit code 0");
    const std::string log = server_.log();
    promise(log.ends_with(" Finished\r\n"), "Finished at the end of the log");
    for (const std::string& failure : errors_in(log))
        promise(is_of_a_lost_client(failure), "no other failure than those of lost clients: " + failure);
}

std::vector<std::string> errors_in(const std::string& log) {
    constexpr std::string_view word = " ERROR: ";
    std::vector<std::string> found;
    for (std::size_t at = log.find(word); at != std::string::npos; at = log.find(word, at)) {
        at += word.size();
        found.push_back(log.substr(at, log.find("\r\n", at) - at));
    }
    return found;
}

std::string first_part(const std::string& failure) {
    return failure.substr(0, failure.find(" ("));
}

std::string result_text(HRESULT result) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%08lx", static_cast<unsigned long>(result));
    return text.data();
}

boost::filesystem::path store_place(const boost::filesystem::path& image, const boost::filesystem::path& pdb) {
    const auto entry = portable_executable::read_image_file(image).debug_entries.at(0);
    const bool portable = entry.MinorVersion == portable_executable::portable_pdb_minor_version;
    GUID id;
    std::copy_n(entry.data.begin() + 4, sizeof id, reinterpret_cast<unsigned char*>(&id));
    const std::wstring age = portable ? L"FFFFFFFF" : std::to_wstring(entry.data.at(20));
    return pdb.filename() / (quorvex::common::to_store_key(id) + age) / pdb.filename();
}

std::vector<exchange> whole_conversation() {
    std::vector<exchange> steps = {{handshake(), handshake_answer()}};
    for (const exchange& step : every_command()) steps.push_back(step);
    steps.push_back({packet(0xFF, {1}), packet(0xFF, {1, 0})});
    return steps;
}

}  // namespace qv::bench
