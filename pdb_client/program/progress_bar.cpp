#include "pdb_client/program/progress_bar.h"

#include <algorithm>
#include <string>

#include "pdb_client/program/console_output.h"

namespace qv::profiler::pdb_client {
namespace {

constexpr std::size_t bar_width = 30;
constexpr std::size_t least_width = 60;  // of a terminal that has room for the bar and the numbers

}  // namespace

progress_bar::progress_bar() : width_(terminal_width_of_messages()) {
    if (width_ < least_width) width_ = 0;
}

void progress_bar::show(std::size_t done, std::size_t all) {
    if (width_ == 0 || all == 0) return;
    const std::size_t full = bar_width * std::min(done, all) / all;
    std::string text("\r[");
    text.append(full, '#').append(bar_width - full, '.').append("] ").append(std::to_string(done));
    write_messages(text.append(" of ").append(std::to_string(all)).append(" files"));
    is_shown_ = true;
}

void progress_bar::clear() {
    if (!is_shown_) return;
    std::string blank("\r");
    write_messages(blank.append(width_ - 1, ' ').append("\r"));
    is_shown_ = false;
}

}  // namespace qv::profiler::pdb_client
