// For tests: an exception taken apart.
#pragma once

#include <exception>
#include <string>

#include "base/exception.h"

namespace qv::test {

struct failure {
    std::string message;
    std::string function, source;  // those of a foreign exception are empty
    unsigned line = 0;
};

// What `action` throws; an empty failure when it throws nothing.
template <class Action>
failure failure_of(Action&& action) {
    try {
        action();
    } catch (const exception& error) {
        return {error.what(), error.where().function, error.where().source, error.where().line};
    } catch (const std::exception& error) {
        return {error.what(), "", ""};
    }
    return {};
}

template <class Action>
std::string message_of(Action&& action) {
    return failure_of(action).message;
}

}  // namespace qv::test
