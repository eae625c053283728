#include "pdb_server/src/options.h"

#include <algorithm>
#include <boost/program_options.hpp>
#include <limits>

#include "text/path.h"

namespace qv::profiler::pdb_server {
namespace {

namespace po = boost::program_options;

// Only the long names in full: an abbreviation would change its meaning with every option that is added.
constexpr int style = po::command_line_style::allow_long | po::command_line_style::long_allow_next |
                      po::command_line_style::long_allow_adjacent;

// Decimal digits only: the stream conversions would take "-1" for an unsigned value.
std::uint16_t parse_mask(const std::wstring& text) {
    constexpr std::uint32_t limit = std::numeric_limits<std::uint16_t>::max();
    std::uint32_t value = 0;
    const bool digits = !text.empty() && std::all_of(text.begin(), text.end(), [&](wchar_t c) {
        if (c < L'0' || c > L'9') return false;
        value = std::min(value * 10 + static_cast<std::uint32_t>(c - L'0'), limit + 1);
        return true;
    });
    if (!digits || value > limit)
        throw po::error("the argument for option '--log_mask' must be a number from 0 to 65535");
    return static_cast<std::uint16_t>(value);
}

}  // namespace

server_options parse_options(const std::vector<std::wstring>& arguments) {
    const auto text = [] { return po::wvalue<std::wstring>()->default_value(std::wstring(), ""); };
    po::options_description described;
    described.add_options()                                                     //
        ("pipe", po::wvalue<std::wstring>()->required(), "")                    //
        ("log_file", text(), "")                                                //
        ("log_mask", po::wvalue<std::wstring>()->default_value(L"0", "0"), "")  //
        ("symsrv_dir", text(), "")                                              //
        ("stop_request_event", text(), "")                                      //
        ("local_clients_only", po::bool_switch(), "")                           //
        ("new_pipe_only", po::bool_switch(), "")                                //
        ("local_paths_only", po::bool_switch(), "");
    po::positional_options_description positional;
    positional.add("pipe", 1);

    po::variables_map values;
    po::store(po::wcommand_line_parser(arguments).options(described).positional(positional).style(style).run(), values);
    po::notify(values);

    const auto value = [&](const char* name) -> const std::wstring& { return values[name].as<std::wstring>(); };
    const auto is_on = [&](const char* name) { return values[name].as<bool>(); };
    return {value("pipe"),
            text::to_path(value("log_file")),
            parse_mask(value("log_mask")),
            text::to_path(value("symsrv_dir")),
            value("stop_request_event"),
            is_on("local_clients_only"),
            is_on("new_pipe_only"),
            is_on("local_paths_only")};
}

}  // namespace qv::profiler::pdb_server
