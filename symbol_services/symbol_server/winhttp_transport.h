// HTTP requests through WinHTTP. Windows only.
#pragma once

#include "symbol_services/symbol_server/http_transport.h"

namespace qv::symbol_store {

// The transport of the process. WinHTTP is loaded by the first request; from then on this library stays in the process,
// because an abandoned request ends on a thread of the system. No credentials are sent but those of the address, no
// cookies are kept, and nobody is asked anything.
http_transport& winhttp_transport();

}  // namespace qv::symbol_store
