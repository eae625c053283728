#include "pdb_client/program/source_file.h"

#include <algorithm>
#include <boost/filesystem/operations.hpp>

#include "core/stream/FileNativeStream.h"
#include "pdb_client/program/file_checksum.h"
#include "text/path.h"

namespace qv::profiler::pdb_client {
namespace {

using boost::filesystem::path;

constexpr std::size_t max_parts = 32;                   // of a recorded path that are looked for below a directory
constexpr std::uint64_t max_source = 64 * 1024 * 1024;  // bytes; what is larger is no source

bool is_slash(wchar_t c) {
    return c == L'/' || c == L'\\';
}

// "\\server\share", "\\?\C:" and the like.
bool is_on_network_or_device(const std::wstring& recorded) {
    return recorded.size() >= 2 && is_slash(recorded[0]) && is_slash(recorded[1]);
}

// The parts between slashes of either kind, without a drive and what does not name anything.
std::vector<std::wstring> split(const std::wstring& recorded) {
    std::vector<std::wstring> parts;
    for (std::size_t begin = 0; begin < recorded.size();) {
        const std::size_t end = std::min(recorded.find_first_of(L"/\\", begin), recorded.size());
        const std::wstring part = recorded.substr(begin, end - begin);
        if (!part.empty() && part != L"." && part.back() != L':') parts.push_back(part);
        begin = end + 1;
    }
    return parts;
}

// The recorded path without its first parts. One that climbs out of a directory is not looked for in it.
std::vector<path> tails_of(const std::wstring& recorded) {
    const std::vector<std::wstring> parts = split(recorded);
    std::vector<path> tails;
    path tail;
    for (auto part = parts.rbegin(); part != parts.rend() && *part != L".." && tails.size() < max_parts; ++part) {
        tail = tail.empty() ? text::to_path(*part) : text::to_path(*part) / tail;
        tails.push_back(tail);
    }
    std::reverse(tails.begin(), tails.end());
    return tails;
}

std::vector<path> places_of(const std::wstring& recorded, const std::vector<path>& directories) {
    std::vector<path> places;
    if (recorded.size() > text::longest_path) return places;
    const path as_recorded = text::to_path(recorded);
    if (as_recorded.is_absolute() && !is_on_network_or_device(recorded)) places.push_back(as_recorded);
    const std::vector<path> tails = tails_of(recorded);
    for (const path& directory : directories)
        for (const path& tail : tails) places.push_back(directory / tail);
    return places;
}

std::optional<std::string> try_to_read(const path& place) {
    boost::system::error_code ignored;
    const path name = text::to_system_path(place);
    if (!boost::filesystem::is_regular_file(name, ignored)) return std::nullopt;
    try {
        FileNativeStream file;
        file.Open(place);
        const std::uint64_t size = file.GetSize();
        if (size > max_source) return std::nullopt;
        std::string bytes(static_cast<std::size_t>(size), '\0');
        file.Read(bytes.data(), size);
        return bytes;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

// LF and CR LF replaced.
std::string with_line_ends(std::string_view bytes, std::string_view line_end) {
    std::string text;
    text.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n') continue;
        if (bytes[i] == '\n')
            text.append(line_end);
        else
            text.push_back(bytes[i]);
    }
    return text;
}

}  // namespace

checksum_verdict check(std::string_view bytes, const document& recorded) {
    const checksum_algorithm* const algorithm = find_checksum_algorithm(recorded.checksum_algorithm);
    if (algorithm == nullptr || recorded.checksum.empty()) return checksum_verdict::unchecked;
    const auto matches = [&](std::string_view text) { return checksum_of(text, algorithm->kind) == recorded.checksum; };
    if (matches(bytes)) return checksum_verdict::matches;
    if (matches(with_line_ends(bytes, "\n")) || matches(with_line_ends(bytes, "\r\n")))
        return checksum_verdict::other_line_ends;
    return checksum_verdict::differs;
}

std::optional<source_file> find_source(const document& recorded, const std::vector<path>& directories) {
    std::optional<source_file> first;
    for (const path& place : places_of(recorded.url, directories)) {
        std::optional<std::string> bytes = try_to_read(place);
        if (!bytes) continue;
        const checksum_verdict verdict = check(*bytes, recorded);
        if (!first || verdict < first->verdict) first = source_file{place, std::move(*bytes), verdict};
        if (first->verdict == checksum_verdict::matches) break;
    }
    return first;
}

}  // namespace qv::profiler::pdb_client
