// The PDB file behind a reader and all objects that it has given out.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "symbol_services/classic_reader/pdb.h"

namespace qv::symbols {

// Shared by all objects of one reader; any number of threads may call.
class symbol_file {
public:
    // The name may be empty.
    symbol_file(std::shared_ptr<const classic_reader::pdb> file, std::wstring name)
        : file_(std::move(file)), name_(std::move(name)) {}

    // The open file, which stays open as long as the caller holds it. Throws E_SYM_DESTROYED after
    // destroy().
    std::shared_ptr<const classic_reader::pdb> get() const;

    bool is_destroyed() const noexcept;

    // Closes the file as soon as no call uses it any more; false when that was done before.
    bool destroy() noexcept;

    const std::wstring& name() const noexcept { return name_; }

private:
    mutable std::mutex mutex_;
    std::shared_ptr<const classic_reader::pdb> file_;
    const std::wstring name_;
};

}  // namespace qv::symbols
