// Calls of the system that fail in the libraries that the server loads, and a share that vanishes while it is read, in
// a symbol engine of this process.
#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <map>
#include <set>

#include "bench/faults/library_calls.h"
#include "bench/faults/scenario.h"
#include "core/stream/MemoryStreams.h"
#include "pdb_server/src/command_processor.h"
#include "pdb_server/src/system/windows/symsrv_imports.h"
#include "tests/support/pdb_writer/sample_module.h"
#include "tests/support/server/handle_count.h"

namespace qv::bench {
namespace {

using namespace testing;
using boost::filesystem::path;
using profiler::pdb_server::process_commands;

constexpr unsigned char load_code = 0x30;

using names = std::set<std::string>;

// --- What is asked.

// A module whose symbols lie in one kind of place, and a conversation about it.
class asked_module {
public:
    enum class place { beside, store, pointer };

    // `like`: one that is answered alike; without it the conversation is held at once to learn the answers.
    asked_module(std::string name, const path& image, const path& pdb, const GUID& mvid, place where,
                 const asked_module* like = nullptr)
        : name_(std::move(name)) {
        const path copy = folder_.copy(image, image.filename());
        std::vector<std::string> search;
        if (where == place::beside) {
            if (!pdb.empty()) folder_.copy(pdb, pdb.filename());
        } else {
            const path stored = "store" / store_place(image, pdb);
            if (where == place::store)
                folder_.copy(pdb, stored);
            else
                folder_.write(stored.parent_path() / "file.ptr",
                              "PATH:" + folder_.copy(pdb, path("far") / "away.pdb").string());
            search = {"srv*" + cache().string() + "*" + (folder_.path() / "store").string()};
        }
        constexpr unsigned char policy = 0x0E;
        requests_ = handshake(policy, search) + load_request(1, copy, mvid);
        for (const unsigned char method : bytes{0, 1, 2, 3}) {
            requests_ = requests_ + packet(0x42, {1, 1, method});
            requests_ = requests_ + packet(0x43, {1, 1, method});
        }
        requests_ =
            requests_ + packet(0x45, {1, 1, 1}) + packet(0x44, {1, 1}) + packet(0x31, {1, 1}) + packet(0xFF, {1});
        expected_ = like == nullptr ? answers() : like->expected_;
        promise(expected_.at(2).second == bytes{1, 0, 1}, name_ + " loads at all");
    }

    const std::string& name() const { return name_; }
    path cache() const { return folder_.path() / "cache"; }

    // Right answers, error texts in their place or no symbols. Returns the texts.
    std::set<std::string> converse() const {
        const auto heard = answers();
        promise(heard.size() == expected_.size(), "an answer to every question about " + name_);
        std::set<std::string> texts;
        for (std::size_t i = 0; i < heard.size(); ++i) {
            promise(heard[i].first == expected_[i].first, "an answer to the question");
            if (heard[i].second == expected_[i].second) continue;
            MemoryBlockStream stream(heard[i].second);
            stream.ReadPacked();
            const std::string text = first_part(stream.ReadText());
            const bool has_no_symbols = heard[i].first == load_code && heard[i].second.back() == 0;
            promise(!text.empty() || has_no_symbols, "the right answer or an error about " + name_);
            // What follows is about a module that is not there.
            texts.insert(text.empty() ? no_symbols : text);
            if (heard[i].first == load_code) break;
        }
        return texts;
    }

    void expect_right_answers() const {
        for (const std::string& text : converse()) throw broken_promise(name_ + " is answered afterwards by: " + text);
    }

private:
    std::vector<code_and_payload> answers() const {
        MemoryBlockStream in(requests_);
        MemoryStream out;
        packet_reader reader(in);
        packet_writer writer(out);
        process_commands([] { return false; }, [](int) { return true; }, &reader, &writer);
        return packets_of(out.bytes());
    }

    const std::string name_;
    temporary_directory folder_;
    bytes requests_;
    std::vector<code_and_payload> expected_;
};

// The process as the server makes it for its workers.
class engine {
public:
    engine() { profiler::pdb_server::symsrv_imports::init({}); }

private:
    com_apartment com_;
};

std::vector<std::unique_ptr<asked_module>> modules() {
    using place = asked_module::place;
    std::vector<std::unique_ptr<asked_module>> all;
    const auto add = [&](const std::string& name, const path& image, const path& pdb, const GUID& mvid, place where) {
        all.push_back(std::make_unique<asked_module>(name, image, pdb, mvid, where));
    };
    const path image = fixture("Standalone.dll"), pdb = fixture("Standalone.pdb"), embedded = fixture("Embedded.dll");
    add("an embedded PDB", embedded, {}, mvid_of(embedded), place::beside);
    add("a portable PDB", image, pdb, mvid_of(image), place::beside);
    add("a portable PDB of a store", image, pdb, mvid_of(image), place::store);
    add("a portable PDB by a pointer", image, pdb, mvid_of(image), place::pointer);
    if (has_symbol_binder()) {
        const sample_module classic;
        add("a classic PDB", classic.image, classic.pdb, sample_module::mvid, place::beside);
        add("a classic PDB of a store", classic.image, classic.pdb, sample_module::mvid, place::store);
    }
    return all;
}

// The library, which stays from now on; null where nobody has loaded it.
HMODULE pinned(const wchar_t* name) {
    HMODULE library = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN, name, &library);
    return library;
}

// --- Every call fails once.

// The reader looks for the symbol-server library when the first search needs it. A call that fails then must not keep
// it away from the next search; so this comes before any other search of the process.
void fail_first_search() {
    using place = asked_module::place;
    const sample_module classic;
    const asked_module beside("a classic PDB", classic.image, classic.pdb, sample_module::mvid, place::beside);
    const asked_module stored("the first PDB of a store", classic.image, classic.pdb, sample_module::mvid, place::store,
                              &beside);
    const auto fail = [&](const names& functions, int from, failing_calls::duration how, unsigned failures) {
        std::vector<std::unique_ptr<test::replaced_import>> imports;
        for (const library_call& each : first_search_calls())
            if (functions.contains(each.name)) imports.push_back(each.replace(pinned(reader)));
        failing_calls::begin(from, how);
        stored.converse();
        promise(failing_calls::end() == failures, "a search that looks for the library");
    };
    using how_long = failing_calls::duration;
    fail({"GetModuleHandleExW", "LoadLibraryW"}, 1, how_long::for_good, 2);  // it is not found
    fail({"GetModuleHandleExW"}, 2, how_long::once, 1);                      // nothing makes sure that it stays
    fail({"GetProcAddress"}, 1, how_long::for_good, 3);                      // it seems to have none of the functions
    stored.expect_right_answers();
}

std::size_t handles() {
    return test::count_handles(GetCurrentProcessId());
}

void expect_nothing_kept(std::size_t before, unsigned failures) {
    const std::size_t kept = handles() - std::min(handles(), before);
    promise(kept <= failures / 4 + 8, "no handles kept, not " + std::to_string(kept));
    if (const HMODULE library = GetModuleHandleW(reader)) {
        const auto can_unload = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
            reinterpret_cast<void*>(GetProcAddress(library, "DllCanUnloadNow")));
        promise(can_unload() == S_OK, "no object of the reader kept");
    }
}

// How often the call failed, each time with the caches empty before; what it left there serves the next question.
unsigned fail_each(const asked_module& module, failing_calls::duration how, std::set<std::string>& texts) {
    for (int turn = 1;; ++turn) {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(module.cache(), ignored);
        failing_calls::begin(turn, how);
        try {
            texts.merge(module.converse());
        } catch (...) {
            failing_calls::end();
            throw;
        }
        if (failing_calls::end() == 0) return static_cast<unsigned>(turn) - 1;
        module.expect_right_answers();
    }
}

std::string library_calls_fail(const circumstances&) {
    const engine server;
    if (has_symbol_binder()) fail_first_search();
    const auto all = modules();
    unsigned failures = 0, functions = 0;
    std::string text;
    for (const library_call& each : library_calls()) {
        const HMODULE library = pinned(each.library);
        if (library == nullptr) continue;
        unsigned times = 0;
        std::set<std::string> texts;
        const std::size_t before = handles();
        const auto import = each.replace(library);
        const std::string what = path(each.library).string() + ", " + each.name;
        try {
            for (const auto& module : all) times += fail_each(*module, failing_calls::duration::once, texts);
            expect_nothing_kept(before, times);
        } catch (const broken_promise& broken) {
            throw broken_promise(what + ": " + broken.what());
        }
        promise(each.is_called ? times != 0 || !has_symbol_binder() : times == 0,
                what + (each.is_called ? " is called at all" : " is not called"));
        if (!each.is_called) continue;
        text += "\n      " + what + ", " + std::to_string(times) + " times:";
        for (const std::string& one : texts) {
            promise(each.texts.contains(one), what + " told as: " + one);
            text += "\n        " + one;
        }
        failures += times;
        ++functions;
    }
    return std::to_string(failures) + " failing calls of " + std::to_string(functions) +
           " functions in the libraries; what the client is told:" + text;
}

// --- Reads that fail from one of them on.

std::string vanishing_share(const circumstances&) {
    const engine server;
    const auto all = modules();
    const auto replaced = [](HMODULE library) {
        return failing_call<decltype(ReadFile)>::replace("ReadFile", FALSE, library, ERROR_NETNAME_DELETED);
    };
    std::vector<std::unique_ptr<test::replaced_import>> imports;
    imports.push_back(replaced(nullptr));
    for (const wchar_t* name : {reader, store})
        if (const HMODULE library = pinned(name)) imports.push_back(replaced(library));
    std::string text;
    unsigned reads = 0;
    const std::size_t before = handles();
    for (const auto& module : all) {
        std::set<std::string> texts;
        const unsigned times = fail_each(*module, failing_calls::duration::for_good, texts);
        text += "\n      " + module->name() + ", from each of " + std::to_string(times) + " reads on:";
        for (const std::string& one : texts) text += "\n        " + one;
        promise(!texts.empty(), "a word about the reads that fail");
        reads += times;
    }
    expect_nothing_kept(before, reads);
    return "a share that vanishes at every read, and comes back:" + text;
}

}  // namespace

std::vector<scenario> library_scenarios() {
    return {{"library_calls", library_calls_fail}, {"vanishing_share", vanishing_share}};
}

}  // namespace qv::bench
