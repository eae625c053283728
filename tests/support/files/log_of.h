// For tests: what the process's log says.
#pragma once

#include <utility>

#include "diagnostics/log.h"
#include "tests/support/files/test_files.h"

namespace qv::testing {

// The log of what happens while `action` runs, with the components of the mask.
template <class Action>
std::string log_of(std::uint16_t mask, Action&& action) {
    const temporary_directory directory;
    const auto file = directory.path() / "server.log";
    log::Logger& logger = log::Logger::instance();
    logger.open(file);
    logger.set_components(mask);
    std::forward<Action>(action)();
    logger.close();
    return read_file(file);
}

}  // namespace qv::testing
