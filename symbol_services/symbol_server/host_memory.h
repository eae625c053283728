// What a process remembers of HTTP hosts between searches.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace qv::symbol_store {

// Any thread may call. Holds a bounded number of entries, the youngest ones.
template <class Value>
class recent_values {
public:
    using time_point = std::chrono::steady_clock::time_point;

    explicit recent_values(std::chrono::seconds lifetime) : lifetime_(lifetime) {}

    void remember(const std::string& key, Value value, time_point now) {
        const std::lock_guard lock(mutex_);
        if (entries_.size() >= most_entries) entries_.erase(oldest());
        entries_.insert_or_assign(key, entry{std::move(value), now});
    }

    std::optional<Value> recall(const std::string& key, time_point now) const {
        const std::lock_guard lock(mutex_);
        const auto found = entries_.find(key);
        if (found == entries_.end() || now - found->second.since >= lifetime_) return std::nullopt;
        return found->second.value;
    }

private:
    static constexpr std::size_t most_entries = 1024;

    struct entry {
        Value value;
        time_point since;
    };

    auto oldest() const {
        return std::min_element(entries_.begin(), entries_.end(), [](const auto& left, const auto& right) {
            return left.second.since < right.second.since;
        });
    }

    const std::chrono::seconds lifetime_;
    mutable std::mutex mutex_;
    std::map<std::string, entry> entries_;
};

// By origin (url.h): why the host is not asked for a while.
constexpr std::chrono::seconds failed_host_lifetime{60};
using failed_hosts = recent_values<std::wstring>;

// By store: whether its files lie below two letters of their names.
constexpr std::chrono::hours layout_lifetime{1};
using store_layouts = recent_values<bool>;

}  // namespace qv::symbol_store
