// A symbol store in a directory, in the published layout:
//
//     root\FILE\INDEX\FILE          the file itself
//     root\FILE\INDEX\file.ptr      or a text that says where it lies (pointer_file.h)
//     root\FI\FILE\INDEX\...        the same below the first two letters, where root\index2.txt exists
//
// A compressed file, whose name ends in "_", counts as absent. A store is marked by "pingme.txt", "000Admin" or
// "index2.txt" in its root; a root that `add` creates gets a "pingme.txt".
#pragma once

#include "symbol_services/symbol_server/store.h"

namespace qv::symbol_store {

class directory_store final : public store {
public:
    explicit directory_store(boost::filesystem::path root) : root_(std::move(root)) {}

    find_result find(const request& wanted) const override;
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
