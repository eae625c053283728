// Symbol stores behind HTTP: what a directory store has, under the address of the store.
//
// Asked are, below the address of the store, the file, the file compressed as a cabinet (the last letter of its name
// replaced by "_") and "file.ptr", each first with the key that public stores publish, where names and identifiers are
// in lower case, and then with the key as it was given. "index2.txt" says, as in a directory, that files lie one level
// deeper.
//
// A file is downloaded into a cache, under a temporary name, and gets its own only when it has the length that was
// promised and is a PDB or an image of the build asked for. Searches for one file in one cache wait for one another, in
// all processes. What a host does not have is noted in the cache (absence_mark.h).
#pragma once

#include <boost/filesystem/path.hpp>
#include <functional>
#include <string>
#include <vector>

#include "symbol_services/symbol_server/host_memory.h"
#include "symbol_services/symbol_server/http_fetch.h"
#include "symbol_services/symbol_server/store.h"

namespace qv::symbol_store {

class temporary_file;

// Unpacks the first file of a cabinet; answers why that cannot be done, or an empty text.
using cabinet_expander =
    std::function<std::wstring(const boost::filesystem::path& cabinet, temporary_file& to, std::uint64_t largest)>;

// What HTTP stores of one process share. Any number of threads may call at a time.
class http_stores {
public:
    // `transport` outlives the object.
    http_stores(http_transport& transport, cabinet_expander expand, http_clock clock)
        : fetch_(transport, std::move(clock)), expand_(std::move(expand)) {}

    // Searches one store, and keeps the file at `target`, a path in an existing directory of a cache. The answer is
    // that path, or the one that a "file.ptr" gives.
    find_result find(const url& store, const request& wanted, const boost::filesystem::path& target);

    // Whether the host answers, and whether the store has one of the marks.
    bool is_reachable(const url& store);
    bool is_marked(const url& store);

private:
    class search;

    http_fetch fetch_;
    const cabinet_expander expand_;
    store_layouts layouts_{layout_lifetime};
};

// One HTTP store as a tier of a search.
class http_store final : public store {
public:
    // Makes the place for a download; empty where there is none.
    using place_maker = std::function<std::optional<boost::filesystem::path>()>;

    // `shared` outlives the object.
    http_store(http_stores& shared, url address, place_maker make_place)
        : shared_(shared), address_(std::move(address)), make_place_(std::move(make_place)) {}

    find_result find(const request& wanted) const override;
    std::optional<boost::filesystem::path> add(const request&, const boost::filesystem::path&) const override {
        return std::nullopt;
    }
    bool is_marked() const override { return shared_.is_marked(address_); }
    bool is_reachable() const override { return shared_.is_reachable(address_); }

private:
    http_stores& shared_;
    const url address_;
    const place_maker make_place_;
};

// The index as public stores publish it: identifiers of PDB files and ages in lower case, all ones in place of an age
// in upper case. That of an image is the same in both.
std::wstring published_index(const std::wstring& index);

}  // namespace qv::symbol_store
