#include "pdb_client/program/explanation.h"

#include <algorithm>
#include <boost/json.hpp>
#include <iterator>

#include "common/symbol_search.h"
#include "diagnostics/error_text.h"
#include "pdb_client/program/columns.h"
#include "pdb_client/program/display_text.h"
#include "pdb_client/program/json_output.h"
#include "pdb_client/program/table_output.h"
#include "pdb_server/src/pdb_processor.h"
#include "pdb_server/src/search_listener.h"
#include "qv/portable_executable/readers.h"
#include "symbol_services/classic_reader/locate.h"
#include "text/path.h"
#include "text/symbol_path.h"
#include "text/utf.h"

namespace qv::profiler::pdb_client {
namespace {

// How each step is called in tables and in JSON, and its colour.
struct step_words {
    search_step step;
    const char* table;
    const char* json;
    const char* colour;
};
constexpr const char* good = "\x1b[32m";
constexpr const char* bad = "\x1b[31m";
constexpr const char* dim = "\x1b[2m";
constexpr const char* plain = "";
constexpr step_words words_of_steps[] = {
    {search_step::embedded, "in the image", "embedded", good},
    {search_step::taken, "taken", "taken", good},
    {search_step::missing, "no such file", "missing", dim},
    {search_step::no_symbols, "not a PDB", "notPdb", bad},
    {search_step::other_build, "wrong id", "otherBuild", bad},
    {search_step::other_age, "wrong age", "otherAge", bad},
    {search_step::failed, "unreadable", "failed", bad},
    {search_step::forbidden, "not allowed", "forbidden", bad},
    {search_step::other_library, "not asked", "otherLibrary", bad},
    {search_step::asked, "asked", "asked", plain},
    {search_step::told, "", "told", plain},
    {search_step::not_there, "has none", "notThere", plain},
};

const step_words& words_of(search_step step) {
    return *std::find_if(std::begin(words_of_steps), std::end(words_of_steps),
                         [step](const step_words& words) { return words.step == step; });
}

// A path or an element of the search path, fit to be shown to anybody.
std::string shown_place(const std::wstring& place) {
    return printable(symbol_path::without_secrets(place));
}

// A line of a library: places and what came of them, with " - " in between. Each may have secrets of its own.
std::string shown_line(std::wstring_view line) {
    constexpr std::wstring_view separator = L" - ";
    std::string shown;
    for (;;) {
        const auto end = line.find(separator);
        shown += shown_place(std::wstring(line.substr(0, end)));
        if (end == std::wstring_view::npos) return shown;
        shown += " - ";
        line.remove_prefix(end + separator.size());
    }
}

std::string shown_what(const search_event& step) {
    return step.step == search_step::told ? shown_line(step.place) : shown_place(step.place);
}

std::wstring joined(const std::vector<std::wstring>& elements) {
    std::wstring text;
    for (const std::wstring& element : elements) text += (text.empty() ? L"" : L";") + element;
    return text;
}

// The classic search, which the server leaves to a reader of the machine.
void search_classic(const module_info& module, std::uint8_t policy, const pdb_server::platform_services& services,
                    const search_observer& observer, search_report& report) {
    classic_reader::pdb_search search;
    search.image = text::to_path(module.path);
    for (const auto& entry : portable_executable::read_image_file(search.image).debug_entries)
        if (entry.Type == portable_executable::debug_type_codeview)
            if (auto record = classic_reader::parse_codeview(entry.data)) search.records.push_back(std::move(*record));
    search.search_path = joined(report.search_path);
    search.policy = policy;
    search.observer = observer;
    search.server = [&services](
                        const std::wstring& parameters,
                        const classic_reader::codeview_record& record) -> std::optional<boost::filesystem::path> {
        auto found = services.find_symbol_file(parameters, record.file_name(), record.guid, record.age);
        if (found.empty()) return std::nullopt;
        return found;
    };
    try {
        classic_reader::locate_pdb(search);
    } catch (const std::exception&) {
        // The steps have said it.
    }
}

std::string identity_of(const search_event& step, symbol_kind kind) {
    return step.found ? identity_text({step.found->guid, step.found->number}, kind) : std::string();
}

std::string policy_text(std::uint8_t policy) {
    struct place {
        search_policy bit;
        const char* name;
    };
    static constexpr place places[] = {{policy_registry, "the registry (1)"},
                                       {policy_symbol_server, "symbol servers (2)"},
                                       {policy_original_path, "the recorded path (4)"},
                                       {policy_reference_path, "beside the image (8)"}};
    std::string text;
    for (const place& p : places)
        if ((policy & p.bit) != 0) text += std::string(text.empty() ? "" : ", ") + p.name;
    return std::to_string(policy) + ", which allows " + (text.empty() ? std::string("nothing") : text);
}

std::string wanted_text(const module_info& module) {
    switch (module.symbols) {
        case symbol_kind::none: return "no symbols; it was built without a PDB";
        case symbol_kind::embedded: return "the portable PDB that lies in it";
        case symbol_kind::portable:
        case symbol_kind::classic: break;
    }
    return std::string(module.symbols == symbol_kind::portable ? "a portable PDB, " : "a classic PDB, ") +
           identity_text(module.pdb, module.symbols) + "\n           " +
           printable(std::string_view(module.recorded_pdb));
}

// What to do about symbols that were not found.
std::string advice(const module_info& module, const search_report& report) {
    const auto any = [&](search_step step) {
        return std::any_of(report.steps.begin(), report.steps.end(),
                           [step](const search_event& event) { return event.step == step; });
    };
    if (module.symbols == symbol_kind::none) return "build the module with a PDB.";
    if (any(search_step::other_build) || any(search_step::other_age))
        return "put the PDB of this very build, the one with the id above, in place of the other one.";
    if (any(search_step::no_symbols) || any(search_step::failed))
        return "replace the file that cannot be read by the PDB of this build.";
    if (any(search_step::forbidden)) return "put the PDB at one of the allowed places, or allow more with --policy.";
    return "put the PDB of this build at one of these places, or name its directory with --search_path.";
}

std::string conclusion(const module_info& module, const search_report& report) {
    const auto taken = std::find_if(report.steps.rbegin(), report.steps.rend(), [](const search_event& event) {
        return event.step == search_step::taken || event.step == search_step::embedded;
    });
    const bool located = taken != report.steps.rend();
    if (!report.failure.empty())
        return std::string(located ? "Found, but not readable: " : "The search failed: ") +
               printable(std::string_view(report.failure)) + ".";
    if (report.found && located)
        return std::string("Found: ").append(taken->step == search_step::embedded ? std::string("in the image itself.")
                                                                                  : shown_place(taken->place));
    if (report.found) return "Found by the symbol reader of this machine, at a place that it does not tell.";
    return std::string("Not found: ").append(advice(module, report));
}

// "policy     14, which allows ..."; further lines of the value stand under its first.
void add_row(std::string& text, const char* label, const std::string& value) {
    text.append(label).append(value).append("\n");
}

std::string head_text(const options& wanted, const module_info& module, const search_report& report,
                      const std::string& store_note) {
    std::string text = file_name(module.path) + "  MVID " + guid_text(module.mvid) + "\n";
    add_row(text, "asks for   ", wanted_text(module));
    text += "\nSearched as the server does, with this program's rights and environment in place of the server's.\n";
    add_row(text, "policy     ", policy_text(wanted.search.policy));
    std::string list;
    for (const std::wstring& element : report.search_path)
        list += std::string(list.empty() ? "" : "\n           ").append(shown_place(element));
    add_row(text, "searches   ", list.empty() ? std::string("no further places") : list);
    if (!store_note.empty()) add_row(text, "servers    ", printable(std::string_view(store_note)));
    return text;
}

// "  3  wrong id      <id>  <place>"; what a library told stands without a number, a little to the right.
std::string step_text(const std::string& number, const search_event& step, symbol_kind kind, bool colours) {
    const step_words& words = words_of(step.step);
    const std::string colour = colours ? words.colour : "";
    std::string line = right(number, 3) + "  " + colour + left(words.table, number.empty() ? 16 : 14);
    if (!colour.empty()) line += "\x1b[0m";
    if (step.step != search_step::taken && step.found) line += identity_of(step, kind) + "  ";
    line += shown_what(step);
    return without_trailing_blanks(line) + "\n";
}

void show_table(const options& wanted, const module_info& module, const search_report& report,
                const std::string& store_note, output& out) {
    out.write(head_text(wanted, module, report, store_note));
    if (!report.steps.empty()) out.write("\n");
    std::size_t number = 0;
    for (const search_event& step : report.steps) {
        const std::string number_text = step.step == search_step::told ? "" : std::to_string(++number);
        out.write(step_text(number_text, step, module.symbols, out.has_colours()));
    }
    out.write(std::string("\n").append(conclusion(module, report)).append("\n"));
}

void show_json(const module_info& module, const search_report& report, const std::string& store_note, output& out) {
    json_lines lines(out);
    add_module(lines, module);
    const bool names_file = module.symbols == symbol_kind::portable || module.symbols == symbol_kind::classic;
    lines.add("wanted", names_file ? json_text(identity_text(module.pdb, module.symbols)) : boost::json::value());
    lines.add("serversNotAsked", store_note.empty() ? boost::json::value() : json_text(store_note));
    lines.begin_list("steps");
    for (const search_event& step : report.steps) {
        const std::string id = identity_of(step, module.symbols);
        lines.add_element({{"step", words_of(step.step).json},
                           {"place", json_text(shown_what(step))},
                           {"id", id.empty() ? boost::json::value() : json_text(id)}});
    }
    lines.end_list();
    lines.add("found", report.found);
    lines.add("conclusion", json_text(conclusion(module, report)));
    lines.finish();
}

}  // namespace

search_report search_symbols(const module_info& module, const session_options& search,
                             const pdb_server::platform_services& services) {
    search_report report;
    const search_observer observer = [&report](const search_event& event) { report.steps.push_back(event); };
    try {
        // The lines of one search are heard where it is made here; what a reader of the machine asks is its own.
        const pdb_server::platform_services heard{
            services.get_environment_variable, [&](const auto&... question) {
                const pdb_server::search_listener listening(
                    [&](const std::wstring& line) { tell(observer, search_step::told, line); });
                return services.find_symbol_file(question...);
            }};
        pdb_server::pdb_processor engine(heard, {}, observer);
        engine.init(search.policy, search.search_paths);
        for (const auto& element : engine.search_paths()) report.search_path.push_back(text::to_wide(element));
        if (module.symbols == symbol_kind::classic) search_classic(module, search.policy, heard, observer, report);
        report.found = engine.load_module(text::to_path(module.path), module.mvid) != 0;
    } catch (...) {
        const auto description = describe_current_exception();
        report.failure = description.text;
    }
    return report;
}

outcome explain(const options& wanted, const module_info& module, const pdb_server::platform_services& services,
                const std::string& store_note, output& out) {
    const search_report report = search_symbols(module, wanted.search, services);
    if (wanted.json)
        show_json(module, report, store_note, out);
    else
        show_table(wanted, module, report, store_note, out);
    outcome result;
    if (!report.found) result.code = exit_code::error_answer;
    return result;
}

}  // namespace qv::profiler::pdb_client
