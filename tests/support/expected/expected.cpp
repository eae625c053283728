#include "tests/support/expected/expected.h"

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <boost/json.hpp>
#include <stdexcept>

#include "qv/text/path.h"
#include "qv/text/utf.h"
#include "tests/support/files/test_files.h"

namespace qv::testing {
namespace {

namespace fs = boost::filesystem;
namespace json = boost::json;

std::string text_or_empty(const json::value& value) {
    return value.is_null() ? std::string() : json::value_to<std::string>(value);
}

std::uint32_t number(const json::value& value) {
    return value.to_number<std::uint32_t>();
}

std::vector<std::uint8_t> parse_hex(std::string_view digits) {
    if (digits.size() % 2 != 0) throw std::runtime_error("odd number of hexadecimal digits: " + std::string(digits));
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        std::size_t used = 0;
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(std::string(digits.substr(i, 2)), &used, 16)));
        if (used != 2) throw std::runtime_error("no hexadecimal digits: " + std::string(digits));
    }
    return bytes;
}

GUID parse_guid(std::string text) {
    std::erase(text, '-');
    const auto bytes = parse_hex(text);
    if (bytes.size() != sizeof(GUID)) throw std::runtime_error("no GUID: " + text);
    GUID guid{};
    for (int i = 0; i < 4; ++i) guid.Data1 = guid.Data1 << 8 | bytes[static_cast<std::size_t>(i)];
    guid.Data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
    guid.Data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
    std::copy(bytes.begin() + 8, bytes.end(), guid.Data4);
    return guid;
}

GUID parse_algorithm(const std::string& name) {
    if (name.empty()) return GUID{};
    if (name == "MD5") return parse_guid("406ea660-64cf-4c82-b6f0-42d48172a799");
    if (name == "SHA1") return parse_guid("ff1816ec-aa5e-4d10-87f7-6f4963833460");
    if (name == "SHA256") return parse_guid("8829d00f-11b8-4213-878b-770e8597ac16");
    return parse_guid(name);
}

document parse_document(const json::value& value) {
    return {text::to_utf16(text_or_empty(value.at("name"))), parse_algorithm(text_or_empty(value.at("hashAlgorithm"))),
            parse_hex(text_or_empty(value.at("hash")))};
}

expected_point parse_point(const json::value& value) {
    const auto& fields = value.as_array();
    if (fields.size() != 6) throw std::runtime_error("a point has six numbers");
    return {number(fields[0]),
            {number(fields[1]), number(fields[2]), number(fields[3]), number(fields[4]), number(fields[5])}};
}

}  // namespace

std::vector<fs::path> find_expected(const fs::path& folder) {
    std::vector<fs::path> found;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const auto name = text::to_wide(entry.path().filename());
        if (name == L"expected.json" || name.ends_with(L".expected.json")) found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    return found;
}

expected_module load_expected(const fs::path& file) {
    return parse_expected(read_file(file), file.parent_path());
}

expected_module parse_expected(std::string_view json, const fs::path& folder) {
    const json::value root = json::parse(json::string_view(json.data(), json.size()));
    expected_module module;
    module.image = folder / text::to_path(text::to_utf16(text_or_empty(root.at("image"))));
    module.mvid = parse_guid(text_or_empty(root.at("mvid")));
    module.method_rows = number(root.at("methodDefs"));
    module.format = text_or_empty(root.at("format"));
    module.embedded = root.at("embedded").as_bool();
    module.match = root.at("match").as_bool();
    const auto data = text_or_empty(root.at("sourceServerData"));
    module.source_server_data.assign(data.begin(), data.end());
    for (const auto& value : root.at("documents").as_array())
        module.documents.emplace(number(value.at("row")), parse_document(value));
    for (const auto& value : root.at("methods").as_array()) {
        auto& points =
            module.methods[static_cast<std::uint32_t>(std::stoul(text_or_empty(value.at("token")), nullptr, 16))];
        for (const auto& point : value.at("points").as_array()) points.push_back(parse_point(point));
    }
    return module;
}

}  // namespace qv::testing
