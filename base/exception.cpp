#include "base/exception.h"

namespace qv {

struct exception::state {
    const char* message;
    throw_location where;
    std::vector<any_error_item> items;
};

exception::exception(const char* message, const throw_location& where, std::vector<any_error_item> items)
    : state_(std::make_shared<const state>(state{message, where, std::move(items)})) {}

const char* exception::what() const noexcept {
    return state_->message;
}

const throw_location& exception::where() const noexcept {
    return state_->where;
}

const std::vector<any_error_item>& exception::items() const noexcept {
    return state_->items;
}

}  // namespace qv
