// Source server streams: the text by which the debugging tools fetch the sources of a classic PDB from version control.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qv::profiler::pdb_client {

// Three sections, "SRCSRV: ini", "SRCSRV: variables" and "SRCSRV: source files". A variable NAME=VALUE is used as
// %NAME%; a source file is a line of values between "*", known as %var1% (its path) to %var10%; %fnvar%(x) is the
// variable that x names, %fnbksl%(x) is x with "\" for "/", %fnfile%(x) is x from its last slash on. SRCSRVTRG says
// where a file is: a URL, or a place below %targ% where the command SRCSRVCMD puts it.
class source_server_stream {
public:
    // Throws qv::exception for what is no such stream.
    explicit source_server_stream(std::string_view text);

    // The target of a document, or the command that gets it where the target is no URL. What is not defined stays as
    // it is written. Of paths that differ in the case of ASCII letters alone, the document's own goes before others.
    std::optional<std::string> source_of(std::string_view document) const;

private:
    using variables = std::map<std::string, std::string, std::less<>>;  // by name in lower case

    class expansion;

    variables variables_;
    std::map<std::string, std::string, std::less<>> files_;         // the whole line, by its path
    std::map<std::string, std::string, std::less<>> folded_files_;  // the same, by its path in lower case
};

}  // namespace qv::profiler::pdb_client
