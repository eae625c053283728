// Searches an HTTP store whose answers are the input: for each, a line with status, Content-Encoding, promised length
// and location, then the size of the body in two bytes and the body.
#include <boost/filesystem/operations.hpp>
#include <sstream>

#include "symbol_services/symbol_server/cabinet_check.h"
#include "symbol_services/symbol_server/file_identity.h"
#include "symbol_services/symbol_server/lookup.h"
#include "tests/fuzz/mutator.h"
#include "tests/fuzz/sample_pdb.h"
#include "tests/support/builders/cabinet.h"
#include "tests/support/files/test_files.h"
#include "text/path.h"

namespace qv::fuzz {
namespace {

using namespace symbol_store;

// Answers what the input says; nothing once it is used up.
class told_transport final : public http_transport {
public:
    explicit told_transport(std::string script) : script_(std::move(script)) {}

    http_outcome get(const url&, const http_limits&, const http_receiver& receiver) override {
        http_response head = {};
        std::string line, length;
        std::getline(script_, line);
        std::istringstream words(line);
        if (!(words >> head.status)) return {http_outcome::kind::no_answer, L"silent"};
        if (head.status == 0) return {http_outcome::kind::cancelled, {}};
        words >> head.encoding >> length >> head.location >> head.retry_after;
        if (head.encoding == "-") head.encoding.clear();
        if (!length.empty() && length != "-") head.length = std::strtoull(length.c_str(), nullptr, 10);
        const int low = script_.get(), high = script_.get();
        std::string body(low < 0 || high < 0 ? 0u : static_cast<std::size_t>(low | high << 8), '\0');
        script_.read(body.data(), static_cast<std::streamsize>(body.size()));
        body.resize(static_cast<std::size_t>(script_.gcount()));
        if (receiver.begin(head))
            for (std::size_t at = 0;
                 at < body.size() && receiver.take(body.data() + at, std::min<std::size_t>(body.size() - at, 999));)
                at += 999;
        return {script_ ? http_outcome::kind::complete : http_outcome::kind::broken, L"cut"};
    }

private:
    std::stringstream script_;
};

const std::wstring wanted_index = format_index(sample_pdb_guid, 0xFFFFFFFF, 0);

outcome run(const unsigned char* data, std::size_t size) {
    static const testing::temporary_directory cache;
    told_transport transport(std::string(data, data + size));
    http_clock clock;
    clock.pause = [](std::chrono::milliseconds) {};
    http_stores stores(
        transport,
        [](const auto& cabinet, temporary_file&, std::uint64_t) {
            return cabinet_fault(*classic_reader::open_disk_file(cabinet)) + L"; not unpacked here";
        },
        clock);
    const request wanted{*file_key::make(L"a.pdb", wanted_index), 1000, [](const std::wstring&) {}};
    lookup_result result;
    require_cost_within(std::uint64_t{64} * size + 10'000, size, [&] {
        const auto text = L"srv*" + text::to_wide(cache.path()) + L"*http://h/s";
        for (int i = 0; i < 2; ++i)
            result = find_file(parse_search_string(text, L""), wanted, copy_policy::into_caches, &stores);
    });
    // What is remembered of the host and of the file.
    const auto store = parse_url(L"http://h/s");
    stores.is_reachable(*store);
    stores.is_marked(*store);
    const bool found = result.status == lookup_status::found;
    if (found) require(identify(result.path).index == wanted_index, "what is found is of the build asked for");
    boost::filesystem::remove_all(cache.path() / "a.pdb");
    boost::system::error_code ignored;
    for (const auto& left : boost::filesystem::directory_iterator(cache.path(), ignored))
        require(left.path().extension() != ".tmp", "nothing half-made is left");
    return found ? outcome::accepted : outcome::rejected;
}

std::vector<bytes> seeds() {
    const bytes pdb = sample_pdb().build();
    const std::string body(pdb.begin(), pdb.end());
    const auto answer = [](const std::string& head, const std::string& content) {
        return head + "\n" + static_cast<char>(content.size() & 0xFF) + static_cast<char>(content.size() >> 8) +
               content;
    };
    const std::string none = answer("404", ""), moved = answer("302 - - /s", "");
    const bytes built = sample_image(test::pe_kind::pe32).build().data;
    const std::string image(built.begin(), built.end());
    const bytes packed = test::stored_cabinet();
    const std::string cabinet = answer("200", {packed.begin(), packed.end()});
    std::vector<bytes> result;
    for (const std::string& each :
         {none + answer("200 - " + std::to_string(body.size()), body), answer("200", "") + answer("200", body),
          none + answer("503 - - - 1", "") + answer("200", body),
          none + answer("302 - - /other", "") + answer("200", body), none + answer("200 - 9999", body),
          none + answer("200 - -", body.substr(0, 90)), none + none + none + none + none + answer("200", "MSG: gone"),
          none + answer("200 gzip", "\x1F\x8B\x08\x00"), none + answer("0", ""),
          none + none + none + none + none + none + none + none, none + answer("200", image), none + none + cabinet,
          none + none + none + cabinet, none + answer("200", "MZ"),
          none + moved + moved + moved + moved + moved + moved + moved,
          none + none + none + none + none + answer("200", "PATH:\\\\h\\a\\a.pdb"),
          none + none + none + none + none + answer("200", "PATH:/a.pdb")})
        result.emplace_back(each.begin(), each.end());
    return result;
}

}  // namespace

const fuzz_target target = {
    run,     seeds,   {"200 gzip ", "200 deflate ", "302 - - http://h/x\n", "404\n", "503 ", "PATH:", "MSCF"},
    nullptr, nullptr, 60};

}  // namespace qv::fuzz
