#include "symbol_services/symbol_server/absence_mark.h"

#include <boost/filesystem/operations.hpp>
#include <charconv>
#include <cstdint>
#include <cstdio>

#include "symbol_services/symbol_server/existing.h"
#include "symbol_services/symbol_server/temporary_file.h"
#include "text/path.h"
#include "text/utf.h"

namespace qv::symbol_store {
namespace {

namespace fs = boost::filesystem;

constexpr std::uint64_t longest_note = 4096;

std::int64_t to_seconds(std::chrono::system_clock::time_point time) {
    return std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch()).count();
}

// FNV-1a. Stores that share a value take turns in one note, no more.
std::string file_name(const std::string& store) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char c : store) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    char name[40];
    std::snprintf(name, sizeof name, "~absent-%016llx.txt", static_cast<unsigned long long>(hash));
    return name;
}

}  // namespace

absence_mark::absence_mark(const fs::path& directory, const std::wstring& store) : store_(text::to_utf8(store)) {
    path_ = directory / file_name(store_);
}

bool absence_mark::holds(std::chrono::system_clock::time_point now) const {
    const auto note = bytes_of(path_, longest_note);
    std::int64_t written = 0;
    const auto [stop, error] = std::from_chars(note.data(), note.data() + note.size(), written);
    if (error != std::errc() || std::string_view(stop, note.data() + note.size()) != ' ' + store_ + '\n') return false;
    return written <= to_seconds(now) && to_seconds(now) < written + lifetime.count();
}

void absence_mark::write(std::chrono::system_clock::time_point now) const {
    const auto note = std::to_string(to_seconds(now)) + ' ' + store_ + '\n';
    temporary_file file(path_.parent_path());
    if (!file.is_open() || !file.write(note.data(), note.size()) || !file.finish()) return;
    boost::system::error_code ignored;
    fs::remove(text::to_system_path(path_), ignored);
    file.rename_to(path_);
}

}  // namespace qv::symbol_store
