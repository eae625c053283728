// How work that may take long learns that nobody wants it any more.
#pragma once

#include <functional>

#include "base/exception.h"

namespace qv::profiler::pdb_server {

// Answers whether the server is to end. Cheap enough for every turn of a loop. Empty: it never is.
using stop_check = std::function<bool()>;

// Throws "The server is stopping", as an exception of the calling function, once the server is to end.
inline void throw_if_stopping(const stop_check& stop, const throw_location& where) {
    if (stop && stop()) throw_error("The server is stopping", where);
}

}  // namespace qv::profiler::pdb_server
