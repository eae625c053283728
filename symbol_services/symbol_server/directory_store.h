// A symbol store in a directory, in the published layout:
//
//     root\FILE\INDEX\FILE          the file itself
//     root\FILE\INDEX\file.ptr      or a text that says where it lies (pointer_file.h)
//     root\FI\FILE\INDEX\...        the same below the first two letters, where root\index2.txt exists
//
// A compressed file, whose name ends in "_", counts as absent here. A store is marked by "pingme.txt", "000Admin" or
// "index2.txt" in its root; a root that `add` creates gets a "pingme.txt".
#pragma once

#include "symbol_services/symbol_server/store.h"

namespace qv::symbol_store {

class directory_store final : public store {
public:
    explicit directory_store(boost::filesystem::path root) : root_(std::move(root)) {}

    find_result find(const request& wanted) const override;

    // The path that the file has in this store, in a directory that is made where it was not there. Empty where that is
    // too long for the caller or cannot be made.
    std::optional<boost::filesystem::path> make_place(const request& wanted) const;

    std::optional<boost::filesystem::path> add(const request& wanted,
                                               const boost::filesystem::path& source) const override;
    bool is_marked() const override;
    bool is_reachable() const override;

private:
    // The directory of one build of a file; empty where the name has no place in a two-tier store.
    boost::filesystem::path directory_of(const file_key& key) const;

    boost::filesystem::path root_;
};

}  // namespace qv::symbol_store
