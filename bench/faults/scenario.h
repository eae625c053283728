// What the scenarios have in common: a promise that is kept or broken, and a server that is looked at before and after.
// Windows only.
#pragma once

#include <windows.h>
// after <windows.h>
#include <objbase.h>

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/server/server_process.h"

namespace qv::bench {

using clock = std::chrono::steady_clock;
using seconds = std::chrono::duration<double>;

class broken_promise : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

inline void promise(bool kept, const std::string& what) {
    if (!kept) throw broken_promise(what);
}

// What somebody who runs the program can choose.
struct circumstances {
    seconds time{};          // for each scenario that repeats itself
    std::string small_disk;  // a folder on a disk that may be filled up; empty where there is none
    std::string loop;        // a folder with a link "a" to a link "b" to "a"; empty where there is none
    unsigned long seed = 0;  // of everything random
};

// Answers what it has done, in a line for a person; throws broken_promise. A promise that a helper checks (the
// assertions of the test support) throws as well.
struct scenario {
    const char* name;
    std::function<std::string(const circumstances&)> run;
};

// The thread's membership of COM's multithreaded apartment, which holds the libraries that COM has loaded.
class com_apartment {
public:
    com_apartment() { promise(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)), "COM"); }
    ~com_apartment() { CoUninitialize(); }
    com_apartment(const com_apartment&) = delete;
    com_apartment& operator=(const com_apartment&) = delete;
};

std::vector<scenario> client_scenarios();
std::vector<scenario> stop_scenarios();
std::vector<scenario> file_scenarios();
std::vector<scenario> log_scenarios();
std::vector<scenario> system_call_scenarios();
std::vector<scenario> library_scenarios();
std::vector<scenario> http_scenarios();
std::vector<scenario> reader_scenarios();
std::vector<scenario> registration_scenarios();
std::vector<scenario> cabinet_scenarios();
std::vector<scenario> completeness_scenarios();

// Whether this process was started as a client that a scenario kills; it has been one then.
bool is_client(int count, char* words[]);

// A running server that misbehaving clients must not harm.
class watched_server {
public:
    watched_server();

    testing::server_process& process() noexcept { return server_; }
    const std::wstring& pipe_id() const noexcept { return server_.pipe_id(); }

    // A fresh client is answered; three listeners are left, and no more handles than the system's own moods explain.
    void expect_as_before();

    // It ends with 0 and a whole log, which tells of clients that went away and of nothing else.
    void expect_orderly_end();

private:
    void wait_until_settled() const;

    testing::server_process server_;
    testing::raw_client observer_;
    std::size_t handles_ = 0;
};

// The failures that the log tells of as errors.
std::vector<std::string> errors_in(const std::string& log);

// Whether it is what a client that goes away makes the server say of its own pipe.
bool is_of_a_lost_client(const std::string& failure);

// A failure's text without its code.
std::string first_part(const std::string& failure);

// As eight digits.
std::string result_text(HRESULT result);

// Where a PDB lies in a store, by the record of its image.
boost::filesystem::path store_place(const boost::filesystem::path& image, const boost::filesystem::path& pdb);

// From the first to the last byte, with the handshake before and the end after it.
std::vector<testing::exchange> whole_conversation();

}  // namespace qv::bench
