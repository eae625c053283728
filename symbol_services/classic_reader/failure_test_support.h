// Failures as tests compare them.
#pragma once

#include <sstream>
#include <string>

#include "base/exception.h"

namespace qv::classic_reader {

// "Invalid PDB superblock, 806d000e"; "no memory"; empty when the action does not fail.
template <class Action>
std::string failure_of(Action&& action) {
    try {
        action();
        return {};
    } catch (const hresult_exception& error) {
        std::ostringstream text;
        text << error.what() << ", " << std::hex << static_cast<std::uint32_t>(*error.find<errtag_hresult>());
        return text.str();
    } catch (const std::bad_alloc&) {
        return "no memory";
    }
}

}  // namespace qv::classic_reader
