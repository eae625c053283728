// What a command gives back: its value, or the server's words why there is none.
#pragma once

#include <string>
#include <utility>
#include <variant>

namespace qv::profiler::pdb_client {

// The server could not answer and says why. The connection goes on.
struct server_error {
    std::string text;  // never empty; as the server sent it
};

// The value of commands that are only acknowledged.
struct nothing {};

template <class Value>
class [[nodiscard]] answer {
public:
    answer(Value value) : content_(std::in_place_index<0>, std::move(value)) {}
    answer(server_error error) : content_(std::in_place_index<1>, std::move(error)) {}

    bool ok() const noexcept { return content_.index() == 0; }

    // Each throws std::bad_variant_access when the other is there.
    const Value& value() const& { return std::get<0>(content_); }
    Value&& value() && { return std::get<0>(std::move(content_)); }
    const std::string& error() const { return std::get<1>(content_).text; }

private:
    std::variant<Value, server_error> content_;
};

}  // namespace qv::profiler::pdb_client
