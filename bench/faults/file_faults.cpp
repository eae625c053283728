// Files that change while they are read, cannot be opened, or are no files at all.
#include <atomic>
#include <boost/filesystem/operations.hpp>
#include <map>
#include <thread>

#include "bench/faults/scenario.h"
#include "pdb_client/library/pipe_connection.h"
#include "pdb_client/library/session.h"
#include "tests/support/builders/pe_builder.h"
#include "tests/support/builders/portable_pdb_builder.h"
#include "tests/support/pdb_writer/sample_module.h"
#include "text/path.h"

namespace qv::bench {
namespace {

using namespace testing;
using boost::filesystem::path;
using profiler::pdb_client::pipe_connection;
using profiler::pdb_client::session;

constexpr std::chrono::seconds patience{20};

// A conversation in which a module is loaded and asked again and again.
class asker {
public:
    asker(const std::wstring& pipe_id, std::wstring image, const GUID& mvid, std::uint32_t method,
          std::vector<std::wstring> search_paths = {})
        : pipe_(pipe_id, {patience, patience}),
          session_(pipe_, {.policy = 0x0E, .search_paths = std::move(search_paths)}),
          image_(std::move(image)),
          mvid_(mvid),
          method_(method) {}

    // What a person would be told: "loaded", "no symbols" or an error.
    std::string ask() {
        const auto loaded = session_.load_module(image_, mvid_);
        if (!loaded.ok()) return loaded.error();
        if (loaded.value() == 0) return "no symbols";
        const auto offsets = session_.get_method_offsets(loaded.value(), method_);
        promise(session_.unload_module(loaded.value()).ok(), "an unload");
        if (!offsets.ok()) return offsets.error();
        if (expected_.empty()) expected_ = offsets.value();
        promise(offsets.value() == expected_, "the right points or an error, not " + shown(offsets.value()));
        return "loaded";
    }

    void expect_loaded() {
        const std::string answer = ask();
        promise(answer == "loaded", "the module loaded, not: " + answer);
    }

private:
    static std::string shown(const std::vector<std::uint32_t>& offsets) {
        std::string text = std::to_string(offsets.size()) + " points:";
        for (const std::uint32_t offset : offsets) text += ' ' + std::to_string(offset);
        return text;
    }

    pipe_connection pipe_;
    session session_;
    const std::wstring image_;
    const GUID mvid_;
    const std::uint32_t method_;
    std::vector<std::uint32_t> expected_;
};

// --- Changing files.

void write(const path& file, const std::string& content, DWORD disposition) {
    // Others may read, write and delete: a build does not know who reads.
    const handle_hld handle(valid_handle_or_null(CreateFileW(file.c_str(), GENERIC_WRITE,
                                                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                                             nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr)));
    if (!handle) return;  // the file is being looked at by somebody who does not share it: the next turn will do
    DWORD written = 0;
    if (disposition == OPEN_EXISTING) SetFilePointer(handle.get(), 0, nullptr, FILE_END);
    WriteFile(handle.get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
}

// Truncated, grown, deleted, replaced by a half and by the whole, in turns; whole again at the end.
class restless_file {
public:
    explicit restless_file(path file) : file_(std::move(file)), content_(read_file(file_)) {
        thread_ = std::thread([this] {
            while (!over_) change(turns_++);
            restore();
        });
    }
    ~restless_file() { stop(); }
    restless_file(const restless_file&) = delete;
    restless_file& operator=(const restless_file&) = delete;

    void stop() {
        over_ = true;
        if (thread_.joinable()) thread_.join();
    }
    unsigned turns() const { return turns_; }

private:
    void change(unsigned turn) {
        switch (turn % 6) {
            case 0: write(file_, content_.substr(0, content_.size() * (turn % 64) / 64), CREATE_ALWAYS); break;
            case 1: write(file_, content_, CREATE_ALWAYS); break;
            case 2: write(file_, content_, OPEN_EXISTING); break;
            case 3: DeleteFileW(file_.c_str()); break;
            default: restore();
        }
        if (turn % 3 == 0) Sleep(1);
    }

    // In one step, as careful builds do.
    void restore() {
        const path other = path(file_).concat(".new");
        write(other, content_, CREATE_ALWAYS);
        for (int tries = 0; tries < 100 && !MoveFileExW(other.c_str(), file_.c_str(), MOVEFILE_REPLACE_EXISTING);
             ++tries)
            Sleep(10);
    }

    const path file_;
    const std::string content_;
    std::atomic<bool> over_{false};
    std::atomic<unsigned> turns_{0};
    std::thread thread_;
};

std::string told(const std::map<std::string, unsigned>& answers) {
    std::string text;
    for (const auto& [answer, count] : answers)
        text += "\n        " + std::to_string(count) + " x " + answer.substr(0, 100);
    return text;
}

std::string change_while_asking(asker& client, const path& file, seconds time) {
    std::map<std::string, unsigned> answers;
    restless_file restless(file);
    try {
        for (const auto begin = clock::now(); clock::now() - begin < time;) ++answers[client.ask()];
    } catch (const broken_promise& broken) {
        throw broken_promise(file.filename().string() + ": " + broken.what() + told(answers));
    }
    restless.stop();
    client.expect_loaded();
    return "\n      " + file.filename().string() + ", changed " + std::to_string(restless.turns()) +
           " times:" + told(answers);
}

std::string changing_files(const circumstances& now) {
    const seconds share = std::min(now.time, seconds{40}) / 4;
    watched_server server;
    std::string text = "whole answers or errors from files that change while they are read";
    {
        const temporary_directory folder;
        const path image = folder.copy(fixture("Standalone.dll"), "Standalone.dll");
        const path pdb = folder.copy(fixture("Standalone.pdb"), "Standalone.pdb");
        asker client(server.pipe_id(), qv::text::to_wide(image), mvid_of(image), 0x06000004);
        client.expect_loaded();
        text += change_while_asking(client, pdb, share) + change_while_asking(client, image, share);
    }
    if (has_symbol_binder()) {
        const sample_module module;
        asker client(server.pipe_id(), qv::text::to_wide(module.image), sample_module::mvid, 0x06000001);
        client.expect_loaded();
        text += change_while_asking(client, module.pdb, share) + change_while_asking(client, module.image, share);
    }
    server.expect_as_before();
    server.expect_orderly_end();
    return text;
}

// --- Files that others keep, and names of what is no file.

std::string one_answer(const watched_server& server, const std::wstring& image, const GUID& mvid,
                       std::vector<std::wstring> search_paths = {}) {
    const auto begin = clock::now();
    std::string answer = asker(server.pipe_id(), image, mvid, 0x06000004, std::move(search_paths)).ask();
    promise(clock::now() - begin < std::chrono::seconds(5), "an answer without a wait");
    return answer;
}

std::string locked_files(const circumstances&) {
    watched_server server;
    const temporary_directory folder;
    const path image = folder.copy(fixture("Standalone.dll"), "Standalone.dll");
    const path pdb = folder.copy(fixture("Standalone.pdb"), "Standalone.pdb");
    std::map<std::string, unsigned> answers;
    for (const path& file : {image, pdb}) {
        const handle_hld keeper(valid_handle_or_null(
            CreateFileW(file.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)));
        const std::string answer = one_answer(server, qv::text::to_wide(image), mvid_of(fixture("Standalone.dll")));
        promise(answer.starts_with("Can't open file (Win32 error 32,"), "a sharing violation, not: " + answer);
        ++answers[answer];
    }
    promise(one_answer(server, qv::text::to_wide(image), mvid_of(image)) == "loaded", "the module loaded afterwards");
    server.expect_as_before();
    return "an image and a PDB that somebody keeps:" + told(answers);
}

// What no image and no PDB can be.
std::vector<std::wstring> odd_names(const watched_server& server, const temporary_directory& folder) {
    const std::wstring folder_name = qv::text::to_wide(folder.path());
    std::wstring deep = folder_name;
    while (deep.size() < 32000) deep += L"\\" + std::wstring(100, L'd');
    return {folder_name,
            folder_name + L"\\",
            folder_name + L"\\.",
            deep,
            L"\\\\?\\" + deep,
            L"NUL",
            L"\\\\.\\NUL",
            L"CON",
            L"CONIN$",
            L"\\\\.\\CON",
            L"C:\\NUL",
            L"C:\\COM1",
            L"AUX",
            L"\\\\.\\PhysicalDrive0",
            L"\\\\.\\C:",
            L"\\\\?\\C:\\",
            L"\\\\?\\",
            L"\\\\.\\",
            L"\\\\",
            L"\\\\.\\pipe\\" + server.pipe_id(),
            L"\\\\?\\pipe\\" + server.pipe_id(),
            L"\\\\.\\mailslot\\none",
            L"C:\\windows\\win.ini:stream",
            L"C:\\<>|\"*?",
            std::wstring(300, L'.')};
}

std::string odd_names_of_images(const circumstances&) {
    watched_server server;
    const temporary_directory folder;
    const GUID mvid = {1, 2, 3, {}};
    std::map<std::string, unsigned> answers;
    for (const std::wstring& name : odd_names(server, folder)) {
        const std::string answer = one_answer(server, name, mvid);
        promise(answer == "no symbols" || answer == "Invalid MVID for the absolute module path is detected" ||
                    answer.starts_with("Can't open file (Win32 error 50,"),
                "no module by this name: " + answer);
        ++answers[answer];
    }
    server.expect_as_before();
    server.expect_orderly_end();
    return "directories, devices, pipes and endless paths for an image:" + told(answers);
}

// An image whose record names this PDB.
path write_image(const temporary_directory& folder, const GUID& mvid, std::uint16_t minor, const path& pdb) {
    test::pe_builder image;
    image.metadata(test::image_metadata(mvid, 4).build());
    image.debug_entry(2, minor, 1, test::codeview_data({4, 5, 6, {}}, 1, pdb.string()));
    const test::bytes file = image.build().data;
    return folder.write("module.dll", {file.begin(), file.end()});
}

std::string odd_names_of_pdbs(const circumstances&) {
    watched_server server;
    const GUID mvid = {1, 2, 3, {}};
    std::map<std::string, unsigned> answers;
    const temporary_directory folder;
    for (const std::uint16_t minor : {std::uint16_t{0x504D}, std::uint16_t{0}})  // a portable and a classic PDB
        for (const std::wstring& name : odd_names(server, folder)) {
            const path module = write_image(folder, mvid, minor, name);
            const std::string answer = one_answer(server, qv::text::to_wide(module), mvid);
            promise(answer != "loaded", "no symbols from " + path(name).string().substr(0, 100));
            ++answers[answer];
        }
    server.expect_as_before();
    server.expect_orderly_end();
    return "the same recorded in an image for its PDB:" + told(answers);
}

// Links that lead to themselves: as an image, as its folder, as what an image records and as places to search.
std::string loops(const circumstances& now) {
    if (now.loop.empty()) return "not done: no folder with a loop of links was named";
    watched_server server;
    const temporary_directory folder;
    const GUID mvid = {1, 2, 3, {}};
    const path loop = path(now.loop) / "a";
    std::map<std::string, unsigned> answers;
    const auto expect_none = [&](const path& image, const GUID& id, std::vector<std::wstring> search_paths) {
        const std::string answer = one_answer(server, qv::text::to_wide(image), id, std::move(search_paths));
        promise(answer != "loaded", "nothing from a loop");
        ++answers[answer];
    };
    expect_none(loop, mvid, {});
    expect_none(loop / "module.dll", mvid, {});
    for (const std::uint16_t minor : {std::uint16_t{0x504D}, std::uint16_t{0}})
        for (const path& pdb : {loop, loop / "module.pdb"})
            expect_none(write_image(folder, mvid, minor, pdb), mvid, {});

    const path original = fixture("Standalone.dll"), pdb = fixture("Standalone.pdb");
    const path image = folder.copy(original, "Standalone.dll");
    const std::wstring place = loop.native(), store = (folder.path() / "store").native();
    for (const std::wstring& element : {place, L"srv*" + place, L"srv*" + place + L"\\s*" + place, L"cache*" + place})
        expect_none(image, mvid_of(image), {element});
    folder.copy(pdb, "store" / store_place(original, pdb));
    const std::string cached =
        one_answer(server, qv::text::to_wide(image), mvid_of(image), {L"srv*" + place + L"*" + store});
    promise(cached == "loaded", "the PDB of a store whose cache is a loop, not: " + cached);
    server.expect_as_before();
    server.expect_orderly_end();
    return "a loop of links for an image, its PDB, search paths, stores and caches:" + told(answers);
}

}  // namespace

std::vector<scenario> file_scenarios() {
    return {{"changing_files", changing_files},
            {"locked_files", locked_files},
            {"odd_names_of_images", odd_names_of_images},
            {"odd_names_of_pdbs", odd_names_of_pdbs},
            {"loops", loops}};
}

}  // namespace qv::bench
