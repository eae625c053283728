// Which proxy an address is asked through, by the environment.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "symbol_services/symbol_server/url.h"

namespace qv::symbol_store {

struct proxy_choice {
    enum class kind {
        system,  // as the system is set up
        none,
        named,
    };
    kind way;
    std::wstring name;  // "host:port"
};

// Reads one variable of the environment; none where it is not set.
using environment_reader = std::function<std::optional<std::wstring>(const wchar_t* name)>;

// The variables are those of dbghelp, "_NT_SYMBOL_PROXY" (host:port), and those that other programs know: "HTTPS_PROXY"
// or "HTTP_PROXY" by the scheme of the address, then "ALL_PROXY". "NO_PROXY" lists hosts and domains, joined by commas,
// that are asked directly; "*" stands for all. This machine itself is always asked directly. What a proxy variable says
// of a user does not count.
proxy_choice choose_proxy(const url& address, const environment_reader& environment);

}  // namespace qv::symbol_store
