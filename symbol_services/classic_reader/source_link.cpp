#include "symbol_services/classic_reader/source_link.h"

#include <algorithm>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <charconv>
#include <optional>
#include <set>
#include <string>

#include "text/ascii.h"

namespace qv::classic_reader {
namespace {

namespace json = boost::json;

constexpr std::string_view stream_name = "sourcelink";
constexpr std::string_view mappings = "documents";

// 0 for "sourcelink", n for "sourcelink$n"; none for other names.
std::optional<std::uint32_t> number_of(std::string_view name) {
    const auto rest = name.substr(std::min(name.size(), stream_name.size()));
    if (!text::starts_with_ignoring_case(name, stream_name)) return std::nullopt;
    if (rest.empty()) return 0;
    std::uint32_t number = 0;
    const auto* const end = rest.data() + rest.size();
    const auto parsed = std::from_chars(rest.data() + 1, end, number);
    return rest.front() == '$' && parsed.ec == std::errc() && parsed.ptr == end ? std::optional(number) : std::nullopt;
}

// In the order of their numbers, each stream once.
std::vector<std::vector<unsigned char>> read_documents(const msf_file& file, const named_streams& names) {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> numbered;
    for (const auto& [name, stream] : names.all())
        if (const auto number = number_of(name)) numbered.emplace_back(*number, stream);
    std::sort(numbered.begin(), numbered.end());
    std::set<std::uint32_t> seen;
    std::vector<std::vector<unsigned char>> documents;
    for (const auto& [number, stream] : numbered)
        if (seen.insert(stream).second) documents.push_back(file.stream(stream).bytes());
    return documents;
}

// None for what is no Source Link document.
std::optional<json::object> parse(const std::vector<unsigned char>& document) {
    boost::system::error_code error;
    auto value = json::parse({reinterpret_cast<const char*>(document.data()), document.size()}, error);
    if (error || !value.is_object()) return std::nullopt;
    const auto* const found = value.as_object().if_contains(mappings);
    return found != nullptr && found->is_object() ? std::optional(std::move(value.as_object())) : std::nullopt;
}

}  // namespace

std::vector<unsigned char> read_source_link(const msf_file& file, const named_streams& names) {
    auto documents = read_documents(file, names);
    if (documents.empty()) return {};
    if (documents.size() == 1) return std::move(documents.front());
    std::optional<json::object> joined;
    for (const auto& document : documents) {
        auto parsed = parse(document);
        if (parsed && joined)
            for (auto& mapping : parsed->at(mappings).as_object()) joined->at(mappings).as_object().insert(mapping);
        else if (parsed)
            joined = std::move(parsed);
    }
    if (!joined) return std::move(documents.front());
    const auto text = json::serialize(*joined);
    return {text.begin(), text.end()};
}

}  // namespace qv::classic_reader
