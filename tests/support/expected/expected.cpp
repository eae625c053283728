#include "tests/support/expected/expected.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <boost/json.hpp>
#include <cstdlib>
#include <iomanip>
#include <set>
#include <sstream>

#include "qv/portable_executable/codeview.h"
#include "qv/portable_executable/readers.h"
#include "text/path.h"
#include "text/utf.h"

namespace qv::testing {
namespace {

namespace fs = boost::filesystem;
namespace json = boost::json;

constexpr std::uint32_t hidden_line = 0xFEEFEE;

std::string text_or_empty(const json::value& value) {
    return value.is_null() ? std::string() : json::value_to<std::string>(value);
}

std::uint32_t number(const json::value& value) {
    return value.to_number<std::uint32_t>();
}

std::vector<std::uint8_t> parse_hex(const std::string& digits) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    return bytes;
}

GUID parse_guid(const std::string& text) {
    GUID guid{};
    std::istringstream in(text);
    char dash = 0;
    in >> std::hex >> guid.Data1 >> dash >> guid.Data2 >> dash >> guid.Data3;
    const auto rest = parse_hex(text.substr(19, 4) + text.substr(24));
    std::copy(rest.begin(), rest.end(), guid.Data4);
    return guid;
}

GUID parse_algorithm(const std::string& name) {
    if (name.empty()) return GUID{};
    if (name == "MD5") return parse_guid("406ea660-64cf-4c82-b6f0-42d48172a799");
    if (name == "SHA1") return parse_guid("ff1816ec-aa5e-4d10-87f7-6f4963833460");
    if (name == "SHA256") return parse_guid("8829d00f-11b8-4213-878b-770e8597ac16");
    return parse_guid(name);
}

expected_module parse(const json::value& root, const fs::path& folder) {
    expected_module module{};
    module.image = folder / text::to_path(text::to_utf16(text_or_empty(root.at("image"))));
    module.mvid = parse_guid(text_or_empty(root.at("mvid")));
    module.method_rows = number(root.at("methodDefs"));
    module.classic = text_or_empty(root.at("format")) == "windows";
    module.match = root.at("match").as_bool();
    const auto data = text_or_empty(root.at("sourceServerData"));
    module.content.set_source_data({data.begin(), data.end()});

    std::map<std::uint32_t, std::wstring> names;
    std::set<std::uint32_t> asked_for;
    for (const auto& value : root.at("documents").as_array())
        names[number(value.at("row"))] = text::to_utf16(text_or_empty(value.at("name")));
    for (const auto& value : root.at("methods").as_array())
        for (const auto& point : value.at("points").as_array()) {
            const auto token = static_cast<std::uint32_t>(std::stoul(text_or_empty(value.at("token")), nullptr, 16));
            const auto field = [&](std::size_t i) { return number(point.as_array().at(i)); };
            module.content.add_point(token, field(0), names.at(field(1)), field(2), field(3), field(4), field(5));
            asked_for.insert(field(1));
        }
    for (const auto& value : root.at("documents").as_array()) {
        const auto row = number(value.at("row"));
        if (module.classic && !asked_for.contains(row)) continue;
        module.content.add_document(module.classic ? 0 : row, names[row],
                                    parse_algorithm(text_or_empty(value.at("hashAlgorithm"))),
                                    parse_hex(text_or_empty(value.at("hash"))));
    }
    module.document_rows = static_cast<std::uint32_t>(names.size());
    return module;
}

}  // namespace

void answers::add_point(std::uint32_t token, std::uint32_t offset, const std::wstring& document,
                        std::uint32_t start_line, std::uint32_t start_column, std::uint32_t end_line,
                        std::uint32_t end_column) {
    std::ostringstream name, point;
    name << "method 0x" << std::hex << token;
    point << offset << ' ' << text::to_utf8(document) << ' ' << start_line << ' ' << end_line;
    if (start_line != hidden_line) point << ' ' << start_column << ' ' << end_column;
    methods[name.str()] += point.str() + "\n";
    ++points;
}

void answers::add_document(std::uint32_t row, const std::wstring& name, const GUID& algorithm,
                           const std::vector<std::uint8_t>& hash) {
    std::ostringstream value;
    if (!hash.empty()) value << quorvex::common::to_string(algorithm) << std::hex << std::setfill('0');
    for (const unsigned byte : hash) value << std::setw(2) << byte;
    facts["document " + std::to_string(row) + " " + text::to_utf8(name)] = value.str();
}

void expect_same(const answers& expected, const answers& answered) {
    EXPECT_THAT(answered.methods, ::testing::ContainerEq(expected.methods));
    EXPECT_THAT(answered.facts, ::testing::ContainerEq(expected.facts));
}

std::vector<expected_module> load_expected(const fs::path& folder) {
    std::set<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (text::to_wide(entry.path().filename()).ends_with(L"expected.json")) files.insert(entry.path());
    std::vector<expected_module> modules;
    modules.reserve(files.size());
    for (const auto& file : files) modules.push_back(parse(json::parse(read_file(file)), file.parent_path()));
    return modules;
}

std::vector<expected_module> collected_modules() {
    const char* named = std::getenv("QV_TESTDATA");
    const auto folder = named != nullptr ? fs::path(named) : source_root() / "../shared/testdata";
    return fs::is_directory(folder) ? load_expected(folder) : std::vector<expected_module>();
}

fs::path stage(const expected_module& module, const temporary_directory& directory) {
    const auto folder = module.image.parent_path().filename() / module.image.stem();
    for (const auto* extension : {".pdb", ".pdbx"}) {  // some collections append a letter
        auto pdb = module.image;
        if (!fs::exists(pdb.replace_extension(extension))) continue;
        for (const auto& entry : portable_executable::read_image_file(module.image).debug_entries) {
            const auto record = portable_executable::read_codeview(entry.data);
            if (entry.Type != portable_executable::debug_type_codeview || !record) continue;
            const std::string name(text::file_name(record->path));
            if (name.find('.') != name.npos) directory.copy(pdb, folder / text::to_path(text::to_utf16(name)));
        }
    }
    return fs::absolute(directory.copy(module.image, folder / module.image.filename()));
}

}  // namespace qv::testing
