// The log where its disk is full, and where somebody wants it away.
#include <algorithm>

#include "bench/faults/scenario.h"

namespace qv::bench {
namespace {

using namespace testing;
using boost::filesystem::path;

void converse(const server_process& server) {
    promise(served_client(server).wrong_answers(every_command()) == 0, "every command answered");
}

void expect_end(server_process& server) {
    server.request_stop();
    promise(server.exit_code() == 0, "exit code 0");
}

// Each line is a record of a thread or the continuation of one.
void expect_whole_records(const std::string& log) {
    promise(log.ends_with(" Finished\r\n"), "Finished at the end of the log");
    for (std::size_t at = 0, end; at < log.size(); at = end + 2) {
        end = log.find("\r\n", at);
        const std::string line = log.substr(at, end - at);
        const bool begins_record = line.find_first_not_of("0123456789ABCDEF") == 8 && line[8] == ' ';
        promise(begins_record || line.starts_with("\t"), "whole records, not: " + line);
    }
}

std::string wanted_away(const circumstances&) {
    const temporary_directory folder;
    const path log = folder.path() / "log.txt";
    server_process server(server_process::settings{.log_file = log.native()});
    promise(!DeleteFileW(log.c_str()) && GetLastError() == ERROR_SHARING_VIOLATION, "an open log that stays");
    promise(!MoveFileW(log.c_str(), (folder.path() / "moved.txt").c_str()), "an open log that keeps its name");
    const handle_hld writer(valid_handle_or_null(CreateFileW(
        log.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr)));
    promise(!writer, "an open log that nobody else writes to");
    converse(server);
    expect_end(server);
    expect_whole_records(read_file(log));
    return "a log that others want to delete, rename and write to";
}

// Takes all the room of a disk while it lives.
class filler {
public:
    explicit filler(const path& folder)
        : file_(valid_handle_or_null(CreateFileW((folder / "filler").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                                 FILE_FLAG_DELETE_ON_CLOSE, nullptr))) {
        for (std::size_t size = 0x10000; size != 0; size /= 2) {
            const std::string part(size, 'x');
            DWORD written = 0;
            while (WriteFile(file_.get(), part.data(), static_cast<DWORD>(size), &written, nullptr) &&
                   written == size) {
            }
        }
    }

private:
    handle_hld file_;
};

std::string full_disk(const circumstances& now) {
    if (now.small_disk.empty()) return "not done: no folder of a small disk was named";
    const path log = path(now.small_disk) / "log.txt";
    {
        server_process server(server_process::settings{.log_file = log.native()});
        converse(server);
        {
            const filler full(now.small_disk);
            // More than the log's last block on the disk may still take.
            for (int i = 0; i < 4; ++i) converse(server);
        }
        converse(server);
        expect_end(server);
    }
    const std::string content = read_file(log);
    DeleteFileW(log.c_str());
    expect_whole_records(content);
    const std::size_t lost = content.find(" WARNING: Log records were lost c=");
    promise(lost != content.npos, "a word about the lost records");
    return "a disk that is full for a while:" + content.substr(lost, content.find("\r\n", lost) - lost);
}

}  // namespace

std::vector<scenario> log_scenarios() {
    return {{"log_wanted_away", wanted_away}, {"log_on_a_full_disk", full_disk}};
}

}  // namespace qv::bench
