// The command line of pdb_client.
#pragma once

#include <boost/filesystem/path.hpp>
#include <chrono>
#include <string>
#include <vector>

#include "pdb_client/library/session.h"

namespace qv::profiler::pdb_client {

enum class command { dump, method, documents, sourcelink, annotate, verify, explain };

struct options {
    bool help = false;     // nothing else is filled then
    bool version = false;  // likewise
    bool json = false;
    bool spawn = false;                          // either this or `pipe`; neither for `explain`
    std::vector<std::wstring> server_arguments;  // for the server to be spawned, in its own names
    std::wstring pipe;
    std::chrono::milliseconds timeout{};
    session_options search;
    command what = command::dump;
    boost::filesystem::path module;      // as given; a directory for `verify`
    std::uint32_t token = 0;             // of a command about one method, unless it is given by name
    std::string method_name;             // UTF-8
    boost::filesystem::path symsrv_dir;  // of the command `explain`; empty for this program's own
    bool url = false;                    // documents are shown with their origin
    std::vector<boost::filesystem::path> source_roots;

    bool is_about_a_method() const noexcept { return what == command::method || what == command::annotate; }
};

// Takes the arguments without the program's name. Relative directories become absolute, because the server has another
// current directory. Throws qv::exception or what the option parser throws when the command line is not one that
// help_text describes.
options parse_options(const std::vector<std::wstring>& arguments);

std::string help_text();

}  // namespace qv::profiler::pdb_client
