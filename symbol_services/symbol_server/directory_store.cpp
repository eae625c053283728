#include "symbol_services/symbol_server/directory_store.h"

#include <boost/filesystem/operations.hpp>

#include "base/os_file.h"
#include "symbol_services/symbol_server/atomic_copy.h"
#include "symbol_services/symbol_server/existing.h"
#include "symbol_services/symbol_server/path_rules.h"
#include "symbol_services/symbol_server/pointer_file.h"
#include "text/path.h"

namespace qv::symbol_store {
namespace {

namespace fs = boost::filesystem;
using text::to_path;
using text::to_wide;

void trace(const request& wanted, const wchar_t* what, const fs::path& path) {
    if (wanted.trace) wanted.trace(to_wide(path) + L" - " + what);
}

fs::path find_by_pointer(const request& wanted, const fs::path& pointer) {
    auto target = read_pointer_file(pointer);
    if (target.empty())
        trace(wanted, L"leads nowhere", pointer);
    else if (!file_exists(target))
        trace(wanted, L"not there, though file.ptr names it", target);
    else
        return target;
    return {};
}

}  // namespace

bool directory_store::is_reachable() const {
    return directory_exists(root_);
}

bool directory_store::is_marked() const {
    for (const auto* mark : {"pingme.txt", "000Admin", "index2.txt"})
        if (anything_exists(root_ / mark)) return true;
    return false;
}

fs::path directory_store::directory_of(const file_key& key) const {
    const auto name = to_path(key.name());
    const auto index = to_path(key.index());
    if (!file_exists(root_ / "index2.txt")) return root_ / name / index;
    const auto group = group_of(key.name());
    return group.empty() ? fs::path() : root_ / to_path(group) / name / index;
}

find_result directory_store::find(const request& wanted) const {
    using status = find_result::status;
    if (!is_reachable()) {
        trace(wanted, L"store is not there", root_);
        return {status::unreachable, {}};
    }
    const auto directory = directory_of(wanted.key);
    if (directory.empty()) {
        trace(wanted, L"two-tier store, in which this name has no place", root_);
        return {status::absent, {}};
    }

    const auto file = directory / to_path(wanted.key.name());
    if (file_exists(file)) {
        trace(wanted, L"found", file);
        return {status::found, file};
    }
    const auto pointer = directory / "file.ptr";
    if (file_exists(pointer)) {
        if (const auto target = find_by_pointer(wanted, pointer); !target.empty()) {
            trace(wanted, L"found by file.ptr", target);
            return {status::found, target};
        }
    }
    trace(wanted, L"not found", file);
    return {status::absent, {}};
}

std::optional<fs::path> directory_store::make_place(const request& wanted) const {
    const auto directory = directory_of(wanted.key);
    if (directory.empty()) return std::nullopt;
    const auto target = directory / to_path(wanted.key.name());
    if (to_wide(target).size() > wanted.longest_path) {
        trace(wanted, L"path too long, not copied here", target);
        return std::nullopt;
    }

    const bool is_new = !anything_exists(root_);
    boost::system::error_code error;
    fs::create_directories(text::to_system_path(directory), error);
    if (error) {
        trace(wanted, L"could not be copied here", target);
        return std::nullopt;
    }
    if (is_new) os_file().open(root_ / "pingme.txt", os_file::mode::create);
    return target;
}

std::optional<fs::path> directory_store::add(const request& wanted, const fs::path& source) const {
    const auto target = make_place(wanted);
    if (!target || *target == source) return target;
    const bool copied = copy_atomically(source, *target);
    trace(wanted, copied ? L"copied here" : L"could not be copied here", *target);
    return copied ? target : std::nullopt;
}

}  // namespace qv::symbol_store
