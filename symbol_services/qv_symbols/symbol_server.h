// The symbol-server library, as the binder uses it.
#pragma once

#include <boost/filesystem/path.hpp>
#include <optional>
#include <string>

#include "symbol_services/classic_reader/locate.h"

namespace qv::symbols {

// Asks with the parameters of a search path element (text/symbol_path.h) the SymSrv.dll that the
// process has loaded already, else the one beside this library. The first question loads it, and it stays for the
// process, as does this library then.
std::optional<boost::filesystem::path> find_on_server(const std::wstring& parameters,
                                                      const classic_reader::codeview_record& record);

}  // namespace qv::symbols
