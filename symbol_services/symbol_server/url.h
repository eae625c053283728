// Addresses of HTTP stores (RFC 3986, the part that "http" and "https" need).
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace qv::symbol_store {

// All parts are ASCII and percent-encoded where they have to be.
struct url {
    bool secure;            // "https"
    std::string user_info;  // "name:password", decoded; a secret, as is the query
    std::string host;       // in lower case; an IPv6 address in brackets
    std::uint16_t port;
    std::string path;   // begins with "/"
    std::string query;  // begins with "?", or is empty

    // "https://host:port": what has one owner. Without the port where it is the usual one.
    std::string origin() const;

    // For people and logs: without the secrets.
    std::wstring display() const;

    bool is_loopback() const;

    bool operator==(const url&) const = default;
};

// None for any other scheme and for what is malformed. Characters that an address cannot hold as they are, such as
// blanks and those beyond ASCII, are encoded in the path; in the host they are a fault. A fragment is dropped.
std::optional<url> parse_url(std::wstring_view text);

// A path below that of `base`, made of these names; the query stays. Throws std::runtime_error for malformed UTF-16.
url below(const url& base, std::initializer_list<std::wstring_view> names);

// Where a redirect leads: `location` is an address or relative to the one asked. What it says of a user does not count:
// the user of `from` goes along to the same origin only. None for what is malformed, and from "https" to "http".
std::optional<url> redirected(const url& from, std::string_view location);

}  // namespace qv::symbol_store
