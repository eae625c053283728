#include "symbol_services/symbol_server/http_proxy.h"

#include <algorithm>

#include "symbol_services/symbol_server/path_rules.h"
#include "text/ascii.h"

namespace qv::symbol_store {
namespace {

std::wstring_view trim(std::wstring_view text) {
    while (!text.empty() && text.front() == L' ') text.remove_prefix(1);
    while (!text.empty() && text.back() == L' ') text.remove_suffix(1);
    return text;
}

// "example.com" and ".example.com" stand for the host and for all below it.
bool is_of_domain(std::wstring_view host, std::wstring_view domain) {
    if (domain == L"*") return true;
    if (!domain.empty() && domain.front() == L'.') domain.remove_prefix(1);
    if (domain.empty() || host.size() < domain.size()) return false;
    const auto before = host.size() - domain.size();
    return text::equal_ignoring_case(host.substr(before), domain) && (before == 0 || host[before - 1] == L'.');
}

bool is_excepted(std::wstring_view host, std::wstring_view list) {
    while (!list.empty()) {
        const auto end = std::min(list.find(L','), list.size());
        if (is_of_domain(host, trim(list.substr(0, end)))) return true;
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return false;
}

// "host:port" of a proxy that is given so or as an address.
std::wstring name_of(std::wstring_view value) {
    value = trim(value);
    const bool is_address = value.find(L"://") != std::wstring_view::npos;
    const auto proxy = parse_url(is_address ? std::wstring(value) : L"http://" + std::wstring(value));
    if (!proxy) return {};
    const auto name = proxy->host + ':' + std::to_string(proxy->port);
    return {name.begin(), name.end()};
}

}  // namespace

proxy_choice choose_proxy(const url& address, const environment_reader& environment) {
    using kind = proxy_choice::kind;
    const std::wstring host(address.host.begin(), address.host.end());
    if (address.is_loopback() || is_excepted(host, environment(L"NO_PROXY").value_or(std::wstring())))
        return {kind::none, {}};
    for (const auto* variable : {L"_NT_SYMBOL_PROXY", address.secure ? L"HTTPS_PROXY" : L"HTTP_PROXY", L"ALL_PROXY"})
        if (auto name = name_of(environment(variable).value_or(std::wstring())); !name.empty())
            return {kind::named, std::move(name)};
    return {kind::system, {}};
}

}  // namespace qv::symbol_store
