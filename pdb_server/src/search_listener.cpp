#include "pdb_server/src/search_listener.h"

#include <utility>

namespace qv::profiler::pdb_server {
namespace {

thread_local const search_listener* current = nullptr;

}  // namespace

search_listener::search_listener(std::function<void(const std::wstring&)> hear)
    : hear_(std::move(hear)), outer_(std::exchange(current, this)) {}

search_listener::~search_listener() {
    current = outer_;
}

void search_listener::tell(const std::wstring& line) noexcept {
    try {
        if (current != nullptr) current->hear_(line);
    } catch (...) {
        // One line less.
    }
}

}  // namespace qv::profiler::pdb_server
