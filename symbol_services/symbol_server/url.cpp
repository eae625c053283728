#include "symbol_services/symbol_server/url.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include "text/utf.h"

namespace qv::symbol_store {
namespace {

constexpr std::uint16_t http_port = 80;
constexpr std::uint16_t https_port = 443;

// No address of a store comes near it, and WinHTTP takes no longer ones.
constexpr std::size_t longest_url = 2083;

bool is_letter_or_digit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool is_one_of(char c, std::string_view set) {
    return set.find(c) != std::string_view::npos;
}

std::string lower(std::string_view text) {
    std::string result(text);
    for (char& c : result)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return result;
}

// Leaves what RFC 3986 calls unreserved, and the characters of `kept`.
std::string encode(std::string_view bytes, std::string_view kept) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string result;
    for (const char c : bytes) {
        if (is_letter_or_digit(c) || is_one_of(c, "-._~") || is_one_of(c, kept)) {
            result += c;
            continue;
        }
        const auto value = static_cast<unsigned char>(c);
        result += {'%', digits[value >> 4U], digits[value & 0xFU]};
    }
    return result;
}

int digit_value(char c) {
    int value = -1;
    std::from_chars(&c, &c + 1, value, 16);
    return value;
}

std::string decode(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && digit_value(text[i + 1]) >= 0 && digit_value(text[i + 2]) >= 0) {
            result += static_cast<char>(digit_value(text[i + 1]) * 16 + digit_value(text[i + 2]));
            i += 2;
        } else {
            result += text[i];
        }
    }
    return result;
}

// An escape that is there already stays one.
std::string encode_path(std::string_view path) {
    return encode(path, "%/!$&'()*+,;=:@");
}

// What an address can begin with, taken off the front.
std::optional<bool> take_scheme(std::string_view& text) {
    for (const bool secure : {false, true}) {
        const std::string_view scheme = secure ? "https://" : "http://";
        if (lower(text.substr(0, scheme.size())) != scheme) continue;
        text.remove_prefix(scheme.size());
        return secure;
    }
    return std::nullopt;
}

bool is_host(std::string_view host) {
    const bool address = host.size() > 2 && host.front() == '[' && host.back() == ']';
    if (address) host = host.substr(1, host.size() - 2);
    return !host.empty() && std::all_of(host.begin(), host.end(), [=](char c) {
        return address ? digit_value(c) >= 0 || is_one_of(c, ":.") : is_letter_or_digit(c) || is_one_of(c, "-._");
    });
}

// "user@host:port" into the parts of `result`; false where it is malformed.
bool parse_authority(std::string_view authority, url& result) {
    if (const auto at = authority.rfind('@'); at != std::string_view::npos) {
        result.user_info = decode(authority.substr(0, at));
        authority.remove_prefix(at + 1);
    }
    result.port = result.secure ? https_port : http_port;
    const auto colon = authority.rfind(':');
    const bool has_port = colon != std::string_view::npos && authority.find(']', colon) == std::string_view::npos;
    if (has_port && colon + 1 != authority.size()) {
        const auto* const end = authority.data() + authority.size();
        const auto [stop, error] = std::from_chars(authority.data() + colon + 1, end, result.port);
        if (error != std::errc() || stop != end || result.port == 0) return false;
    }
    result.host = lower(has_port ? authority.substr(0, colon) : authority);
    return is_host(result.host);
}

// What follows the authority.
void parse_path(std::string_view text, url& result) {
    text = text.substr(0, text.find('#'));
    const auto question = std::min(text.find('?'), text.size());
    result.path = encode_path(text.substr(0, question));
    if (result.path.empty() || result.path.front() != '/') result.path.insert(result.path.begin(), '/');
    result.query = encode(text.substr(question), "?%/!$&'()*+,;=:@[]");
}

// Encoding makes an address longer than the text that it was.
bool is_too_long(const url& address) {
    return address.origin().size() + address.path.size() + address.query.size() > longest_url;
}

std::optional<url> parse(std::string_view text) {
    if (text.size() > longest_url || text.find('\0') != std::string_view::npos) return std::nullopt;
    const auto secure = take_scheme(text);
    if (!secure) return std::nullopt;
    url result = {};
    result.secure = *secure;
    const auto end = std::min(text.find_first_of("/?#"), text.size());
    if (!parse_authority(text.substr(0, end), result)) return std::nullopt;
    parse_path(text.substr(end), result);
    if (is_too_long(result)) return std::nullopt;
    return result;
}

// RFC 3986, 5.2.4.
std::string without_dots(std::string_view path) {
    std::string result;
    while (!path.empty()) {
        const auto end = std::min(path.find('/', 1), path.size());
        const auto segment = path.substr(0, end);
        path.remove_prefix(end);
        const bool up = segment == "/..";
        if (up) result.erase(result.empty() ? 0 : result.rfind('/'));
        if (!up && segment != "/.")
            result += segment;
        else if (path.empty())
            result += '/';
    }
    return result.empty() ? "/" : result;
}

url relative_to(const url& base, std::string_view location) {
    url result = base;
    const bool from_root = !location.empty() && location.front() == '/';
    parse_path(from_root ? std::string(location) : base.path.substr(0, base.path.rfind('/') + 1).append(location),
               result);
    result.path = without_dots(result.path);
    return result;
}

}  // namespace

std::string url::origin() const {
    const std::string name = (secure ? "https://" : "http://") + host;
    return port == (secure ? https_port : http_port) ? name : name + ':' + std::to_string(port);
}

std::wstring url::display() const {
    const auto text = origin() + path;
    return {text.begin(), text.end()};
}

bool url::is_loopback() const {
    return host == "localhost" || host == "[::1]" || host.starts_with("127.");
}

std::optional<url> parse_url(std::wstring_view text) {
    try {
        return parse(text::to_utf8(text));
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

url below(const url& base, std::initializer_list<std::wstring_view> names) {
    url result = base;
    while (!result.path.empty() && result.path.back() == '/') result.path.pop_back();
    for (const auto name : names) result.path += '/' + encode(text::to_utf8(name), "!$&'()*+,;=:@");
    return result;
}

std::optional<url> redirected(const url& from, std::string_view location) {
    if (location.empty() || location.size() > longest_url) return std::nullopt;
    auto scheme_end = location;
    const bool other_host = location.starts_with("//");
    const bool absolute = other_host || take_scheme(scheme_end).has_value();
    const auto colon = location.find(':');
    if (!absolute && colon < location.find_first_of("/?#")) return std::nullopt;  // of another scheme
    auto target = other_host ? parse((from.secure ? "https:" : "http:") + std::string(location))
                  : absolute ? parse(location)
                             : relative_to(from, location);
    if (!target || is_too_long(*target) || (from.secure && !target->secure)) return std::nullopt;
    target->user_info = target->origin() == from.origin() ? from.user_info : std::string();
    return target;
}

}  // namespace qv::symbol_store
