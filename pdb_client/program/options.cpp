#include "pdb_client/program/options.h"

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <boost/program_options.hpp>
#include <optional>

#include "base/exception.h"
#include "pdb_client/library/pipe_name.h"
#include "pdb_client/program/search_path.h"
#include "text/path.h"
#include "text/utf.h"

namespace qv::profiler::pdb_client {
namespace {

namespace po = boost::program_options;

[[noreturn]] void refuse(const located_message& why) {
    throw_error(why);
}

int digit_value(wchar_t c) {
    if (c >= L'0' && c <= L'9') return c - L'0';
    if (c >= L'a' && c <= L'f') return c - L'a' + 10;
    if (c >= L'A' && c <= L'F') return c - L'A' + 10;
    return 16;
}

// A decimal number, or a hexadecimal one after 0x, of at most `limit`.
std::optional<std::uint32_t> parse_number(std::wstring_view text, std::uint32_t limit) {
    const bool is_hex = text.starts_with(L"0x") || text.starts_with(L"0X");
    if (is_hex) text.remove_prefix(2);
    const int base = is_hex ? 16 : 10;
    if (text.empty()) return std::nullopt;
    std::uint64_t value = 0;
    for (const wchar_t c : text) {
        const int digit = digit_value(c);
        if (digit >= base) return std::nullopt;
        value = value * static_cast<unsigned>(base) + static_cast<unsigned>(digit);
        if (value > limit) return std::nullopt;
    }
    return static_cast<std::uint32_t>(value);
}

command to_command(const std::wstring& word) {
    if (word == L"dump") return command::dump;
    if (word == L"method") return command::method;
    if (word == L"documents") return command::documents;
    if (word == L"sourcelink") return command::sourcelink;
    if (word == L"annotate") return command::annotate;
    if (word == L"verify") return command::verify;
    if (word == L"explain") return command::explain;
    refuse("The command is none of dump, method, documents, sourcelink, annotate, verify and explain");
}

std::uint32_t to_token(const std::wstring& word) {
    const auto token = parse_number(word, 0x06FFFFFF);
    if (!token || *token <= method_table) refuse("The method is not a MethodDef token such as 0x06000005");
    return *token;
}

// No name of a compiler begins with a digit.
void take_method(const std::wstring& word, options& result) {
    if (word[0] >= L'0' && word[0] <= L'9')
        result.token = to_token(word);
    else
        result.method_name = text::to_utf8(word);
}

void take_words(const std::vector<std::wstring>& words, options& result) {
    if (words.empty()) refuse("No command is given");
    result.what = to_command(words[0]);
    if (words.size() < 2 || words[1].empty())
        refuse(result.what == command::verify ? "No directory is given" : "No module is given");
    text::to_utf8(words[1]);  // throws for what could not be sent
    result.module = text::to_path(words[1]);
    const std::size_t expected = result.is_about_a_method() ? 3 : 2;
    if (words.size() < expected || words.back().empty()) refuse("No method is given");
    if (words.size() > expected) refuse("There are too many arguments");
    if (result.is_about_a_method()) take_method(words[2], result);
}

void take_server(const po::variables_map& values, bool is_needed, options& result) {
    const bool pipe = values.count("pipe") != 0;
    result.spawn = values.count("spawn") != 0;
    if (!is_needed && (pipe || result.spawn))
        refuse("The command explain asks no server: --pipe and --spawn are not for it");
    if (!is_needed) return;
    if (result.spawn && pipe) refuse("--pipe and --spawn exclude each other");
    if (!result.spawn && !pipe) refuse("Either --pipe or --spawn is needed");
    if (result.spawn) return;
    result.pipe = values["pipe"].as<std::wstring>();
    if (!is_pipe_id(result.pipe)) refuse("The pipe identifier is not valid: it is the ID of \\\\.\\pipe\\ID");
}

std::wstring absolute_path(const std::wstring& text) {
    return text.empty() ? text : text::to_wide(boost::filesystem::system_complete(text::to_path(text)));
}

void take_server_arguments(const po::variables_map& values, bool has_server, options& result) {
    if (!has_server && values.count("symsrv_dir") != 0)
        result.symsrv_dir = text::to_path(absolute_path(values["symsrv_dir"].as<std::wstring>()));
    const auto take = [&](const char* name, auto convert) {
        if (values.count(name) == 0 || (!has_server && std::string_view(name) == "symsrv_dir")) return;
        if (!result.spawn) refuse("--symsrv_dir, --log_file and --log_mask are for a server that --spawn starts");
        result.server_arguments.push_back(L"--" + text::to_utf16(name));
        result.server_arguments.push_back(convert(values[name].as<std::wstring>()));
    };
    take("symsrv_dir", absolute_path);
    take("log_file", absolute_path);
    take("log_mask", [](const std::wstring& text) {
        const auto mask = parse_number(text, 0xFFFF);
        if (!mask) refuse("The log mask is not a number from 0 to 65535");
        return std::to_wstring(*mask);
    });
}

void take_search(const po::variables_map& values, options& result) {
    if (values.count("policy") != 0) {
        const auto given = parse_number(values["policy"].as<std::wstring>(), 0xFF);
        if (!given) refuse("The policy is not a number from 0 to 255");
        result.search.policy = static_cast<std::uint8_t>(*given);
    }
    if (values.count("search_path") != 0)
        for (const std::wstring& list : values["search_path"].as<std::vector<std::wstring>>())
            if (!append_search_paths(list, result.search.search_paths)) refuse("A search path is empty");
}

constexpr std::uint32_t default_timeout = 30;  // seconds
constexpr std::uint32_t max_timeout = 24 * 60 * 60;

void take_timeout(const po::variables_map& values, options& result) {
    std::uint32_t seconds = default_timeout;
    if (values.count("timeout") != 0) {
        const auto given = parse_number(values["timeout"].as<std::wstring>(), max_timeout);
        if (!given || *given == 0) refuse("The time-out is not a number of seconds from 1 to 86400");
        seconds = *given;
    }
    result.timeout = std::chrono::seconds(seconds);
}

// Options that only some commands know.
void take_sources(const po::variables_map& values, options& result) {
    result.url = values.count("url") != 0;
    if (result.url && result.what != command::documents && result.what != command::annotate)
        refuse("--url is for the commands documents and annotate");
    if (result.json && result.what == command::annotate) refuse("--json is not for the command annotate");
    if (values.count("source_root") == 0) return;
    if (result.what != command::annotate && result.what != command::verify)
        refuse("--source_root is for the commands annotate and verify");
    for (const std::wstring& root : values["source_root"].as<std::vector<std::wstring>>()) {
        if (root.empty()) refuse("A source root is empty");
        result.source_roots.push_back(boost::filesystem::system_complete(text::to_path(root)));
    }
}

// Names of several words have the server's spelling, and one with hyphens that means the same.
po::options_description describe() {
    po::options_description all;
    auto add = all.add_options();
    const auto text = [] { return po::wvalue<std::wstring>(); };
    const auto texts = [] { return po::wvalue<std::vector<std::wstring>>(); };
    add("help,h", "");
    add("version", "");
    add("json", "");
    add("spawn", "");
    add("pipe", text());
    add("timeout", text());
    add("policy", text());
    add("search_path,search-path", texts());
    add("source_root,source-root", texts());
    add("url", "");
    add("symsrv_dir,symsrv-dir", text());
    add("log_file,log-file", text());
    add("log_mask,log-mask", text());
    add("word", texts());
    return all;
}

po::variables_map parse(const std::vector<std::wstring>& arguments) {
    const po::options_description all = describe();
    po::positional_options_description words;
    words.add("word", -1);
    constexpr int style = po::command_line_style::allow_long | po::command_line_style::long_allow_adjacent |
                          po::command_line_style::long_allow_next | po::command_line_style::allow_short |
                          po::command_line_style::allow_dash_for_short | po::command_line_style::short_allow_next;
    po::variables_map values;
    po::store(po::wcommand_line_parser(arguments).options(all).positional(words).style(style).run(), values);
    po::notify(values);
    return values;
}

// As programs for Windows are asked for help; the option parser knows the other ways.
bool is_question(const std::wstring& word) {
    return word == L"/?" || word == L"-?";
}

}  // namespace

options parse_options(const std::vector<std::wstring>& arguments) {
    options result;
    result.help = std::any_of(arguments.begin(), arguments.end(), is_question);
    if (result.help) return result;
    const po::variables_map values = parse(arguments);
    result.help = values.count("help") != 0;
    result.version = values.count("version") != 0;
    if (result.help || result.version) return result;

    result.json = values.count("json") != 0;
    const auto words =
        values.count("word") != 0 ? values["word"].as<std::vector<std::wstring>>() : std::vector<std::wstring>();
    const bool has_server = words.empty() || words[0] != L"explain";
    take_server(values, has_server, result);
    take_server_arguments(values, has_server, result);
    take_timeout(values, result);
    take_search(values, result);
    take_words(words, result);
    take_sources(values, result);
    return result;
}

std::string help_text() {
    return R"(Shows the symbols of a managed module as a symbol server sees them.

    pdb_client (--pipe ID | --spawn) [options] COMMAND (MODULE [METHOD] | DIRECTORY)
    pdb_client [options] explain MODULE

Commands
    dump MODULE          every method with sequence points, and the documents they lie in
    method MODULE METHOD the sequence points of one method, as in: method app.dll 0x06000005
    documents MODULE     the documents that sequence points refer to, with their checksums and the
                         methods that have points in them
    sourcelink MODULE    the module's Source Link document or source server stream; a file or pipe
                         gets its bytes as they are

    annotate MODULE METHOD
                         the source lines of one method, with its sequence points marked in them

    verify DIRECTORY     every module below a directory: the kind of its symbols, or why there are
                         none, how many points they have, and whether sources match

    explain MODULE       step by step where a server looks for the symbols of the module, and what
                         lies there; the search is made in this program, without a server

A METHOD is a token, or a name such as Shop.Orders.Add, Orders.Add(2) or Add: the number in
parentheses is that of the parameters. Where a name fits several methods, these are listed.

Which server
    --pipe ID            the server that was started with this pipe identifier
    --spawn              start pdb_server.exe from this program's folder and stop it at the end
    --timeout SECONDS    how long to wait for the server and for each of its answers (default 30)

Where the server looks for symbols
    --search_path LIST   directories, and symbol servers such as srv*C:\store, with ";" between
                         them; may be repeated
    --policy N           the sum of 1 (registry), 2 (symbol servers), 4 (the path recorded in the
                         image) and 8 (beside the image); default 14

What a server that --spawn starts is told
    --symsrv_dir DIR     the directory of its SymSrv.dll; default is its own; explain takes it too
    --log_file FILE      the log that it writes; default is none
    --log_mask N         what the log holds besides failures: 1 the commands, 16 the symbol engine,
                         17 both; default 0

What is printed
    --json               one JSON document instead of tables
    --url                documents and annotate: where each document can be fetched from, by the
                         module's Source Link document or source server stream
    --source_root DIR    annotate and verify: a directory to look for sources in, besides the
                         recorded path and the directory of the image; may be repeated
    --version            the version of this program
    --help, -h, /?       this text

Names of options may be written with hyphens too, as in --search-path.

Exit code
    0  done
    1  the answer is an error or there are no symbols, or the module cannot be read; verify: an
       image names symbols that are not there
    2  the command line is not understood, or names a method that the module does not have
    3  the server cannot be reached, or the conversation with it failed
)";
}

}  // namespace qv::profiler::pdb_client
