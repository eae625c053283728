#include "pdb_server/src/interruption.h"

#include <utility>

namespace qv::profiler::pdb_server {
namespace {

thread_local const interruption* current = nullptr;

}  // namespace

interruption::interruption(std::function<bool()> wanted)
    : wanted_(std::move(wanted)), outer_(std::exchange(current, this)) {}

interruption::~interruption() {
    current = outer_;
}

bool interruption::is_wanted() noexcept {
    try {
        return current != nullptr && current->wanted_();
    } catch (...) {
        return true;
    }
}

}  // namespace qv::profiler::pdb_server
