#include "symbol_services/symbol_server/http_stores.h"

#include <algorithm>
#include <boost/filesystem/operations.hpp>

#include "symbol_services/symbol_server/absence_mark.h"
#include "symbol_services/symbol_server/existing.h"
#include "symbol_services/symbol_server/file_identity.h"
#include "symbol_services/symbol_server/file_lock.h"
#include "symbol_services/symbol_server/path_rules.h"
#include "symbol_services/symbol_server/pointer_file.h"
#include "symbol_services/symbol_server/temporary_file.h"
#include "text/ascii.h"
#include "text/path.h"

namespace qv::symbol_store {
namespace {

namespace fs = boost::filesystem;
using fetched = fetch_result::kind;
using status = find_result::status;

constexpr std::chrono::seconds longest_search{300};
constexpr std::uint64_t longest_text = std::uint64_t{64} * 1024;
constexpr std::size_t id_length = 32;  // of a GUID in an index

std::wstring lower(std::wstring text) {
    for (auto& unit : text)
        if (unit >= L'A' && unit <= L'Z') unit = static_cast<wchar_t>(unit - L'A' + L'a');
    return text;
}

// Where a file lies in a store.
struct stored_key {
    std::wstring name;
    std::wstring index;

    bool operator==(const stored_key&) const = default;
};

std::vector<stored_key> keys_of(const file_key& key) {
    std::vector<stored_key> keys{{lower(key.name()), published_index(key.index())}};
    if (const stored_key given{key.name(), key.index()}; given != keys.front()) keys.push_back(given);
    return keys;
}

// A store may name a share of its own host. One of another host would be shown who we are.
bool may_follow(const url& store, const fs::path& target) {
    const auto text = text::to_wide(target);
    if (text.size() < 2 || (text[0] != L'\\' && text[0] != L'/') || (text[1] != L'\\' && text[1] != L'/')) return true;
    const auto end = std::min(text.find_first_of(L"\\/", 2), text.size());
    return text::equal_ignoring_case(text.substr(2, end - 2), store.host);
}

}  // namespace

std::wstring published_index(const std::wstring& index) {
    if (index.size() <= id_length) return index;
    const auto age = index.substr(id_length);
    return lower(index.substr(0, id_length)) + (age == L"FFFFFFFF" ? age : lower(age));
}

// One search in one store.
class http_stores::search {
public:
    search(http_stores& shared, const url& store, const request& wanted, const fs::path& target)
        : shared_(shared),
          store_(store),
          wanted_(wanted),
          target_(target),
          absence_(target.parent_path(), store.display()),
          limits_{std::min(wanted.end, shared.fetch_.clock().now() + longest_search), wanted.cancelled} {}

    find_result run() {
        if (const auto known = without_asking()) return *known;
        for (;;) {
            const file_lock lock(target_.parent_path() / "~download.lock");
            // Where there can be no lock, a second download is the lesser evil.
            if (lock.current() != file_lock::state::taken) return locked();
            if (!pause_within(shared_.fetch_.clock(), limits_, std::chrono::milliseconds(50))) return cancelled();
        }
    }

private:
    void trace(const std::wstring& place, const std::wstring& what) const {
        if (wanted_.trace) wanted_.trace(place + L" - " + what);
    }
    find_result cancelled() const {
        trace(store_.display(), L"cancelled, or out of time");
        return {wanted_.cancelled && wanted_.cancelled() ? status::cancelled : status::unreachable, {}};
    }

    // What this process or the cache knows already.
    std::optional<find_result> without_asking() const {
        if (const auto failure = shared_.fetch_.recent_failure(store_)) {
            trace(store_.display(), L"not asked, for the host failed less than a minute ago: " + *failure);
            return find_result{status::unreachable, {}};
        }
        if (absence_.holds(shared_.fetch_.clock().today())) {
            trace(store_.display(), L"not asked, for it did not have the file less than an hour ago, as noted in " +
                                        text::to_wide(target_.parent_path()));
            return find_result{status::absent, {}};
        }
        return std::nullopt;
    }

    find_result locked() {
        // Somebody else may have come first.
        if (file_exists(target_)) {
            trace(text::to_wide(target_), L"found, downloaded meanwhile");
            return {status::found, target_};
        }
        if (const auto known = without_asking()) return *known;
        if (!find_layout() || (is_deep_ && group_of(wanted_.key.name()).empty())) return {status_, {}};
        for (const auto form : {&search::get_file, &search::get_compressed, &search::get_by_pointer})
            for (const auto& key : keys_of(wanted_.key))
                if ((this->*form)(key) || status_ != status::absent) return {status_, std::move(found_)};
        if (is_absence_certain_) absence_.write(shared_.fetch_.clock().today());
        return {status::absent, {}};
    }

    // Gets an address into the sink; false where it has come to nothing, and `status_` says whether to go on.
    bool get(const url& address, std::uint64_t largest, const content_decoder::sink& sink) {
        const auto result = shared_.fetch_.get(address, limits_, largest, sink);
        if (result.result == fetched::content) return true;
        trace(address.display(), result.reason);
        switch (result.result) {
            case fetched::content:
            case fetched::absent: break;
            case fetched::refused: is_absence_certain_ = false; break;
            case fetched::broken:
            case fetched::no_answer:
            case fetched::not_asked: status_ = status::unreachable; break;
            case fetched::cancelled: status_ = cancelled().outcome; break;
        }
        return false;
    }

    std::optional<std::string> get_text(const url& address) {
        std::string text;
        const bool got = get(address, longest_text, [&](const char* bytes, std::size_t size) {
            text.append(bytes, size);
            return true;
        });
        return got ? std::optional(text) : std::nullopt;
    }

    // False where the host fails.
    bool find_layout() {
        const auto key = store_.origin() + store_.path;
        const auto now = shared_.fetch_.clock().now();
        if (const auto known = shared_.layouts_.recall(key, now)) {
            is_deep_ = *known;
            return true;
        }
        is_deep_ = get_text(below(store_, {L"index2.txt"})).has_value();
        if (status_ != status::absent) return false;
        if (is_absence_certain_) shared_.layouts_.remember(key, is_deep_, now);
        return true;
    }

    url address_of(const stored_key& key, const std::wstring& leaf) const {
        return is_deep_ ? below(store_, {group_of(key.name), key.name, key.index, leaf})
                        : below(store_, {key.name, key.index, leaf});
    }

    bool get_file(const stored_key& key) {
        const auto address = address_of(key, key.name);
        temporary_file file(target_.parent_path());
        return download(address, file) && accept(address, file);
    }

    bool get_compressed(const stored_key& key) {
        const auto address = address_of(key, key.name.substr(0, key.name.size() - 1) + L'_');
        temporary_file cabinet(target_.parent_path());
        if (!download(address, cabinet)) return false;
        temporary_file file(target_.parent_path());
        auto failure = shared_.expand_(cabinet.path(), file, http_fetch::largest_content);
        if (failure.empty() && !file.finish()) failure = L"cannot be written down";
        return failure.empty() ? accept(address, file) : refuse(address, failure);
    }

    bool get_by_pointer(const stored_key& key) {
        const auto address = address_of(key, L"file.ptr");
        const auto text = get_text(address);
        if (!text) return false;
        const auto path = parse_pointer(*text);
        if (path.empty()) return refuse(address, L"leads nowhere");
        if (!may_follow(store_, path)) return refuse(address, L"leads to a share of another host, which is not asked");
        if (!has_right_content(text::to_wide(path), path)) return false;
        trace(text::to_wide(path), L"found by file.ptr");
        return finish(path);
    }

    bool download(const url& address, temporary_file& file) {
        if (!file.is_open()) return refuse(address, L"the cache cannot be written");
        const bool got = get(address, http_fetch::largest_content,
                             [&](const char* bytes, std::size_t size) { return file.write(bytes, size); });
        return got && (file.finish() || refuse(address, L"cannot be written down"));
    }

    // Gives a complete download its name.
    bool accept(const url& address, temporary_file& file) {
        if (!has_right_content(address.display(), file.path())) return false;
        if (!file.rename_to(target_) && !file_exists(target_))
            return refuse(address, L"cannot be renamed in the cache");
        trace(address.display(), L"downloaded to " + text::to_wide(target_));
        return finish(target_);
    }

    bool has_right_content(const std::wstring& place, const fs::path& file) {
        const auto identity = identify(file);
        if (text::equal_ignoring_case(identity.index, wanted_.key.index())) return true;
        is_absence_certain_ = false;
        trace(place, L"refused: " + (identity.index.empty() ? identity.reason : L"it is " + identity.index));
        return false;
    }

    bool refuse(const url& address, const std::wstring& why) {
        is_absence_certain_ = false;
        trace(address.display(), L"refused: " + why);
        return false;
    }

    bool finish(const fs::path& path) {
        found_ = path;
        status_ = status::found;
        return true;
    }

    http_stores& shared_;
    const url& store_;
    const request& wanted_;
    const fs::path& target_;
    const absence_mark absence_;
    const http_limits limits_;
    bool is_deep_ = false;
    bool is_absence_certain_ = true;  // every answer so far was that there is nothing
    status status_ = status::absent;
    fs::path found_;
};

find_result http_stores::find(const url& store, const request& wanted, const fs::path& target) {
    return search(*this, store, wanted, target).run();
}

find_result http_store::find(const request& wanted) const {
    const auto target = make_place_ ? make_place_() : std::nullopt;
    if (target) return shared_.find(address_, wanted, *target);
    if (wanted.trace) wanted.trace(address_.display() + L" - not asked, for no cache takes the file");
    return {status::unreachable, {}};
}

bool http_stores::is_reachable(const url& store) {
    const http_limits limits{fetch_.clock().now() + longest_search, {}};
    const auto answer =
        fetch_.get(below(store, {L"pingme.txt"}), limits, longest_text, [](const char*, std::size_t) { return true; });
    return answer.result != fetched::no_answer && answer.result != fetched::not_asked;
}

bool http_stores::is_marked(const url& store) {
    const http_limits limits{fetch_.clock().now() + longest_search, {}};
    for (const auto* mark : {L"pingme.txt", L"index2.txt"}) {
        const auto answer =
            fetch_.get(below(store, {mark}), limits, longest_text, [](const char*, std::size_t) { return true; });
        if (answer.result == fetched::content) return true;
    }
    return false;
}

}  // namespace qv::symbol_store
