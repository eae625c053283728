#include "symbol_services/qv_symbols/symbol_file.h"

#include "base/exception.h"
#include "common/com/symbol_interfaces.h"

namespace qv::symbols {

std::shared_ptr<const classic_reader::pdb> symbol_file::get() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!file_) throw_hresult_error("Symbol file is destroyed", com::e_sym_destroyed);
    return file_;
}

bool symbol_file::is_destroyed() const noexcept {
    const std::lock_guard<std::mutex> lock(mutex_);
    return !file_;
}

bool symbol_file::destroy() noexcept {
    std::shared_ptr<const classic_reader::pdb> closed;
    const std::lock_guard<std::mutex> lock(mutex_);
    closed.swap(file_);
    return closed != nullptr;
}

}  // namespace qv::symbols
