// The text of the failure that an action ends with.
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace qv::test {

template <class Action>
std::string failure_of(Action&& action) {
    try {
        std::forward<Action>(action)();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "(no failure)";
}

}  // namespace qv::test
