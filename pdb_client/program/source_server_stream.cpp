#include "pdb_client/program/source_server_stream.h"

#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <locale>

#include "base/exception.h"

namespace qv::profiler::pdb_client {
namespace {

constexpr std::string_view section_mark = "SRCSRV: ";
constexpr std::size_t max_fields = 10;

// What one file's text may cost, since variables may name each other again and again.
constexpr std::size_t max_depth = 16;
constexpr std::size_t max_steps = 1000;
constexpr std::size_t max_size = 0x10000;

std::string lower(std::string_view text) {
    return boost::to_lower_copy(std::string(text), std::locale::classic());
}

std::string_view take_line(std::string_view& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

bool is_url(std::string_view text) {
    return boost::istarts_with(text, "http://") || boost::istarts_with(text, "https://");
}

}  // namespace

// Replaces the variables and functions of a text, for one file.
class source_server_stream::expansion {
public:
    expansion(const variables& global, std::string_view line) : global_(global) {
        for (std::size_t i = 1; i <= max_fields; ++i) {
            const std::size_t end = std::min(line.find('*'), line.size());
            own_["var" + std::to_string(i)] = line.substr(0, end);
            if (end == line.size()) break;
            line.remove_prefix(end + 1);
        }
    }

    std::string variable(std::string_view name, std::size_t depth = 0) {
        const std::string key = lower(name);
        const auto own = own_.find(key);
        if (own != own_.end()) return own->second;  // a file's values are no texts to expand
        const auto found = global_.find(key);
        if (found == global_.end()) return std::string("%").append(name).append("%");
        return expand(found->second, depth + 1);
    }

private:
    std::string expand(std::string_view text, std::size_t depth) {
        if (depth > max_depth || ++steps_ > max_steps) throw_error("Source server variables name each other");
        std::string result;
        while (!text.empty()) {
            const std::size_t begin = std::min(text.find('%'), text.size());
            result += text.substr(0, begin);
            text.remove_prefix(begin);
            if (!text.empty()) result += take_reference(text, depth);
            if (result.size() > max_size) throw_error("Too long source server text");
        }
        return result;
    }

    // "%name%" or "%fnname%(argument)"; a lone percent sign means itself.
    std::string take_reference(std::string_view& text, std::size_t depth) {
        const std::size_t end = text.find('%', 1);
        const std::string_view name = text.substr(1, end == text.npos ? 0 : end - 1);
        text.remove_prefix(end == text.npos ? 1 : end + 1);
        if (end == text.npos || name.empty()) return "%";
        if (!is_function(lower(name)) || !text.starts_with('(')) return variable(name, depth);
        return apply(lower(name), expand(take_argument(text), depth + 1), depth);
    }

    static bool is_function(std::string_view name) { return name == "fnvar" || name == "fnbksl" || name == "fnfile"; }

    // What lies between the parentheses that the text begins with.
    static std::string_view take_argument(std::string_view& text) {
        std::size_t end = 1;
        for (std::size_t open = 1; end < text.size(); ++end) {
            if (text[end] == '(') ++open;
            if (text[end] == ')' && --open == 0) break;
        }
        const std::string_view argument = text.substr(1, end - 1);
        text.remove_prefix(std::min(end + 1, text.size()));
        return argument;
    }

    std::string apply(std::string_view function, std::string argument, std::size_t depth) {
        boost::trim(argument, std::locale::classic());
        if (function == "fnvar") return variable(argument, depth);
        if (function == "fnfile") return argument.substr(argument.find_last_of("\\/") + 1);
        std::replace(argument.begin(), argument.end(), '/', '\\');
        return argument;
    }

    const variables& global_;
    variables own_;
    std::size_t steps_ = 0;
};

source_server_stream::source_server_stream(std::string_view text) {
    if (!text.starts_with(section_mark)) throw_error("Not a source server stream");
    bool in_files = false;
    while (!text.empty()) {
        const std::string_view line = take_line(text);
        if (line.starts_with(section_mark)) {
            in_files = line.substr(section_mark.size()).starts_with("source files");
        } else if (in_files) {
            const std::string_view path = line.substr(0, line.find('*'));
            files_.try_emplace(std::string(path), line);
            folded_files_.try_emplace(lower(path), line);
        } else if (const std::size_t equals = line.find('='); equals != line.npos) {
            variables_[lower(line.substr(0, equals))] = line.substr(equals + 1);
        }
    }
}

std::optional<std::string> source_server_stream::source_of(std::string_view document) const {
    const auto exact = files_.find(document);
    const auto folded = folded_files_.find(lower(document));
    if (folded == folded_files_.end() || variables_.count("srcsrvtrg") == 0) return std::nullopt;
    expansion text(variables_, exact != files_.end() ? exact->second : folded->second);
    std::string target = text.variable("srcsrvtrg");
    if (is_url(target) || variables_.count("srcsrvcmd") == 0) return target;
    std::string command = text.variable("srcsrvcmd");
    return command.empty() ? target : command;
}

}  // namespace qv::profiler::pdb_client
