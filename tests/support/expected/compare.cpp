#include "tests/support/expected/compare.h"

#include <algorithm>
#include <exception>
#include <sstream>

#include "qv/text/utf.h"

namespace qv::testing {
namespace {

constexpr std::size_t shown_of_a_kind = 10;

// The differences of one kind, of which only the first are kept.
class difference_list {
public:
    explicit difference_list(std::string kind) : kind_(std::move(kind)) {}

    void add(const std::string& subject, const std::string& difference) {
        if (difference.empty()) return;
        if (++count_ <= shown_of_a_kind) lines_.push_back(kind_ + " " + subject + ": " + difference);
    }

    void append_to(std::vector<std::string>& lines) const {
        lines.insert(lines.end(), lines_.begin(), lines_.end());
        if (count_ > lines_.size())
            lines.push_back("... and " + std::to_string(count_ - lines_.size()) + " more of kind " + kind_);
    }

private:
    std::string kind_;
    std::size_t count_ = 0;
    std::vector<std::string> lines_;
};

std::string hex(std::uint32_t value) {
    std::ostringstream out;
    out << "0x" << std::hex << value;
    return out.str();
}

std::string hex(const std::vector<std::uint8_t>& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (const auto byte : bytes) text.append({digits[byte >> 4], digits[byte & 15]});
    return text;
}

std::string describe(const expected_point& point) {
    std::ostringstream out;
    out << "IL " << point.offset << " document " << point.range.document << " (" << point.range.start_line << ","
        << point.range.start_column << ")-(" << point.range.end_line << "," << point.range.end_column << ")";
    return out.str();
}

std::string unequal(const std::string& what, const std::string& expected, const std::string& answered) {
    return what + " expected " + expected + ", answered " + answered;
}

// Empty when both are the same.
std::string compare_points(const std::vector<expected_point>& expected, const std::vector<std::uint32_t>& offsets,
                           const std::vector<source_range>& ranges) {
    if (offsets.size() != expected.size() || ranges.size() != expected.size())
        return std::to_string(expected.size()) + " points expected, answered " + std::to_string(offsets.size()) +
               " offsets and " + std::to_string(ranges.size()) + " ranges";
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const expected_point answered{offsets[i], ranges[i]};
        if (expected[i] != answered)
            return unequal("point " + std::to_string(i), describe(expected[i]), describe(answered));
    }
    return {};
}

std::string compare_documents(const document& expected, const document& answered) {
    if (expected.name != answered.name)
        return unequal("name", text::to_utf8(expected.name), text::to_utf8(answered.name));
    if (expected.hash != answered.hash) return unequal("hash", hex(expected.hash), hex(answered.hash));
    if (!expected.hash.empty() && expected.algorithm != answered.algorithm)
        return unequal("hash algorithm", quorvex::common::to_string(expected.algorithm),
                       quorvex::common::to_string(answered.algorithm));
    return {};
}

std::string compare_source_data(const std::vector<std::uint8_t>& expected, const std::vector<std::uint8_t>& answered) {
    if (expected == answered) return {};
    const auto first = std::mismatch(expected.begin(), expected.end(), answered.begin(), answered.end()).first;
    return std::to_string(expected.size()) + " bytes expected, answered " + std::to_string(answered.size()) +
           "; the first difference is at " + std::to_string(first - expected.begin());
}

// The difference that `ask_and_compare` finds, or the reason why it failed.
template <class Function>
std::string difference_or_failure(Function ask_and_compare) {
    try {
        return ask_and_compare();
    } catch (const std::exception& error) {
        return std::string("failed with \"") + error.what() + "\"";
    }
}

}  // namespace

comparison compare(const expected_module& expected, symbol_source& source, std::uint32_t module_id) {
    static const std::vector<expected_point> none;
    comparison result;

    difference_list methods("method");
    for (std::uint32_t row = 1; row <= expected.method_rows; ++row) {
        const std::uint32_t token = 0x06000000 | row;
        const auto found = expected.methods.find(token);
        const auto& points = found == expected.methods.end() ? none : found->second;
        methods.add(hex(token), difference_or_failure([&] {
                        return compare_points(points, source.offsets(module_id, token),
                                              source.ranges(module_id, token));
                    }));
        ++result.methods;
        result.points += points.size();
    }
    methods.append_to(result.differences);

    difference_list documents("document");
    for (const auto& [row, document] : expected.documents) {
        documents.add(std::to_string(row), difference_or_failure([&, id = row, &wanted = document] {
                          return compare_documents(wanted, source.get_document(module_id, id));
                      }));
        ++result.documents;
    }
    documents.append_to(result.differences);

    difference_list source_data("source-server");
    source_data.add("data", difference_or_failure([&] {
                        return compare_source_data(expected.source_server_data, source.source_server_data(module_id));
                    }));
    source_data.append_to(result.differences);
    return result;
}

}  // namespace qv::testing
