// For tests: an exception taken apart, so that one comparison covers message and place.
#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <optional>
#include <ostream>
#include <string>

#include "qv/diagnostics/exception.h"

namespace qv::test {

struct failure {
    std::string message;
    std::string function;
    std::string source;
    std::optional<unsigned> line;  // none: any line will do

    friend bool operator==(const failure& a, const failure& b) {
        return a.message == b.message && a.function == b.function && a.source == b.source &&
               (!a.line || !b.line || a.line == b.line);
    }

    friend std::ostream& operator<<(std::ostream& out, const failure& value) {
        out << '"' << value.message << "\" from " << value.function << " in " << value.source;
        return value.line ? out << ':' << *value.line : out;
    }
};

// What `action` throws; an empty failure when it throws nothing, and only the message of a foreign exception.
template <class Action>
failure failure_of(Action&& action) {
    try {
        action();
    } catch (const exception& error) {
        return {error.what(), error.where().function, error.where().source, error.where().line};
    } catch (const std::exception& error) {
        return {error.what(), "", "", std::nullopt};
    }
    return {};
}

// The message alone.
template <class Action>
std::string message_of(Action&& action) {
    return failure_of(action).message;
}

}  // namespace qv::test
