#include "pdb_server/src/symbol_candidates.h"

#include <algorithm>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "core/bridge_protocol.h"
#include "diagnostics/log.h"
#include "text/path.h"
#include "text/symbol_path.h"

namespace qv::profiler::pdb_server {
namespace {

using boost::filesystem::path;

// What symbol stores put in place of the age of a portable PDB.
constexpr std::uint32_t portable_pdb_age = 0xFFFFFFFF;

// The image's extension without its point, for the directories named after it.
path extension_directory(const path& image) {
    const std::wstring extension = text::to_wide(image.extension());
    return text::to_path(extension.empty() ? extension : extension.substr(1));
}

void log_passed_over(const path& element, const char* reason) {
    log::Logger::instance().record(log::component::PdbGt, [&](log::TextStream& out) {
        out.text("PP::LoadModule").key(log::key::result).text(reason);
        out.key(log::key::path).quoted(symbol_path::without_secrets(text::to_wide(element)));
    });
}

// The places of one record. Each step answers whether the visitor is content.
class offering {
public:
    offering(const symbol_candidates& search, const std::wstring& name, const GUID& pdb_guid,
             const candidate_visitor& visit)
        : search_(search),
          name_(name),
          pdb_guid_(pdb_guid),
          visit_(visit),
          file_(text::to_path(name)),
          extension_(extension_directory(search.image)),
          store_key_(text::to_path(quorvex::common::to_store_key(pdb_guid) + L"FFFFFFFF")) {}

    bool recorded_or_beside(const path& recorded) {
        const path directory = search_.image.parent_path();
        return (recorded.is_absolute() && search_.services.lets_look_at(recorded) && offer_first(recorded)) ||
               offer_first(directory / file_) || offer_first(directory / "symbols" / file_);
    }

    bool along(const path& element) {
        if (!seen_.insert(element.native()).second) return false;
        if (!symbol_path::is_server_element(element.native())) return in_directory(element);
        if ((search_.policy & policy_symbol_server) != 0) return on_server(element);
        log_passed_over(element, "forbidden_by_policy");
        tell(search_.observer, search_step::forbidden, text::to_wide(element));
        return false;
    }

private:
    bool was_first(const path& place) const {
        return std::any_of(first_.begin(), first_.end(),
                           [&](const path& first) { return first.native() == place.native(); });
    }

    bool offer_first(const path& place) {
        if (was_first(place)) return false;
        first_.push_back(place);
        return visit_(place);
    }

    bool offer(const path& place) { return !was_first(place) && visit_(place); }

    bool in_directory(const path& directory) {
        if (offer(directory / file_) || offer(directory / "symbols" / file_)) return true;
        if (!extension_.empty() &&
            (offer(directory / extension_ / file_) || offer(directory / "symbols" / extension_ / file_)))
            return true;
        return offer(directory / file_ / store_key_ / file_);
    }

    bool on_server(const path& element) {
        const auto parameters = servers_.next(text::to_wide(element));
        if (!parameters) {
            log_passed_over(element, "other_library");
            tell(search_.observer, search_step::other_library, text::to_wide(element));
            return false;
        }
        tell(search_.observer, search_step::asked, *parameters);
        const path found = search_.services.find_symbol_file(*parameters, name_, pdb_guid_, portable_pdb_age);
        if (found.empty()) tell(search_.observer, search_step::not_there, *parameters);
        return !found.empty() && offer(found);
    }

    const symbol_candidates& search_;
    const std::wstring& name_;
    const GUID& pdb_guid_;
    const candidate_visitor& visit_;
    const path file_, extension_, store_key_;
    symbol_path::element_walk servers_;
    std::vector<path> first_;
    // Of the elements, not of the places: the list may be very long.
    std::unordered_set<std::basic_string_view<path::value_type>> seen_;
};

}  // namespace

void symbol_candidates::offer(const std::wstring& recorded_path, const GUID& pdb_guid,
                              const candidate_visitor& visit) const {
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::symbol_candidates::offer(const class std::basic_string<wchar_t,struct "
        "std::char_traits<wchar_t>,class std::allocator<wchar_t> > &,const struct _GUID &,const class "
        "std::function<bool __cdecl(const class boost::filesystem::path &)> &) const",
        "pdb_server/src/symbol_candidates"};
    const std::wstring name(text::file_name(recorded_path));
    if (name.empty()) return;
    throw_if_stopping(stop, here);
    offering places(*this, name, pdb_guid, visit);
    if (places.recorded_or_beside(text::to_path(recorded_path))) return;
    for (const path& element : elements) {
        throw_if_stopping(stop, here);
        if (places.along(element)) return;
    }
    throw_if_stopping(stop, here);
}

}  // namespace qv::profiler::pdb_server
