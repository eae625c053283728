// The symbol-server library, as the binder uses it.
#pragma once

#include <boost/filesystem/path.hpp>
#include <optional>
#include <string>

#include "symbol_services/classic_reader/locate.h"

namespace qv::symbols {

// Answers a search path element such as "srv*C:\cache*\\host\store" by the SymSrv.dll that the process has loaded
// already, else by the one beside this library. The first question loads it, and it stays for the process.
std::optional<boost::filesystem::path> find_on_server(const std::wstring& element,
                                                      const classic_reader::codeview_record& record);

}  // namespace qv::symbols
