#include "symbol_services/symbol_server/winhttp_transport.h"

#include <windows.h>
// after <windows.h>
#include <winhttp.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

#include "base/fill_buffer.h"
#include "symbol_services/symbol_server/http_proxy.h"
#include "symbol_services/symbol_server/system_library.h"

namespace qv::symbol_store {
namespace {

using clock = std::chrono::steady_clock;

constexpr std::chrono::seconds connect_limit{5};
constexpr std::chrono::seconds first_byte_limit{10};
constexpr DWORD poll_ms = 50;
constexpr DWORD longest_head = 64 * 1024;  // bytes

struct winhttp_functions {
    const system_library library{L"winhttp.dll"};
    decltype(&WinHttpOpen) open = library.function<decltype(WinHttpOpen)>("WinHttpOpen");
    decltype(&WinHttpConnect) connect = library.function<decltype(WinHttpConnect)>("WinHttpConnect");
    decltype(&WinHttpOpenRequest) open_request = library.function<decltype(WinHttpOpenRequest)>("WinHttpOpenRequest");
    decltype(&WinHttpCloseHandle) close = library.function<decltype(WinHttpCloseHandle)>("WinHttpCloseHandle");
    decltype(&WinHttpSetOption) set_option = library.function<decltype(WinHttpSetOption)>("WinHttpSetOption");
    decltype(&WinHttpSetTimeouts) set_timeouts = library.function<decltype(WinHttpSetTimeouts)>("WinHttpSetTimeouts");
    decltype(&WinHttpSetStatusCallback) set_callback =
        library.function<decltype(WinHttpSetStatusCallback)>("WinHttpSetStatusCallback");
    decltype(&WinHttpSendRequest) send = library.function<decltype(WinHttpSendRequest)>("WinHttpSendRequest");
    decltype(&WinHttpReceiveResponse) receive =
        library.function<decltype(WinHttpReceiveResponse)>("WinHttpReceiveResponse");
    decltype(&WinHttpQueryHeaders) query = library.function<decltype(WinHttpQueryHeaders)>("WinHttpQueryHeaders");
    decltype(&WinHttpReadData) read = library.function<decltype(WinHttpReadData)>("WinHttpReadData");

    bool are_there() const noexcept {
        return open && connect && open_request && close && set_option && set_timeouts && set_callback && send &&
               receive && query && read;
    }
};

// Only after has_winhttp().
const winhttp_functions& winhttp() {
    return *system_functions<winhttp_functions>();
}

bool has_winhttp() {
    return system_functions<winhttp_functions>() != nullptr;
}

struct handle_closer {
    using pointer = HINTERNET;
    void operator()(HINTERNET handle) const noexcept { winhttp().close(handle); }
};
using internet_handle = std::unique_ptr<void, handle_closer>;

// What WinHTTP tells of one request, on threads of its own. Shared with them: a request that nobody waits for any more
// ends when it pleases, and writes to this buffer until then.
class progress {
public:
    enum class phase { starting, connecting, connected };
    enum class event { none, sent, head, data, failed };

    struct state {
        phase now = phase::starting;
        clock::time_point since = clock::now();
        event last = event::none;
        DWORD count = 0;  // bytes of data, or the error
    };

    bool has_event() const noexcept { return signal_ != nullptr; }

    // Waits a little for the next event, and takes it.
    state wait() {
        WaitForSingleObject(signal_.get(), poll_ms);
        const std::lock_guard lock(mutex_);
        auto result = state_;
        state_.last = event::none;
        return result;
    }

    std::array<char, 1U << 16> buffer;

    static void CALLBACK on_status(HINTERNET, DWORD_PTR context, DWORD status, void* information, DWORD length) {
        auto* const owner = reinterpret_cast<std::shared_ptr<progress>*>(context);  // NOLINT(performance-no-int-to-ptr)
        if (owner == nullptr) return;
        if (status == WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING)
            delete owner;
        else
            (*owner)->note(status, information, length);
    }

private:
    struct event_closer {
        using pointer = HANDLE;
        void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
    };

    void note(DWORD status, const void* information, DWORD length) {
        switch (status) {
            case WINHTTP_CALLBACK_STATUS_RESOLVING_NAME:
            case WINHTTP_CALLBACK_STATUS_CONNECTING_TO_SERVER: return enter(phase::connecting);
            case WINHTTP_CALLBACK_STATUS_CONNECTED_TO_SERVER:
            case WINHTTP_CALLBACK_STATUS_SENDING_REQUEST: return enter(phase::connected);
            case WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE: return tell(event::sent, 0);
            case WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE: return tell(event::head, 0);
            case WINHTTP_CALLBACK_STATUS_READ_COMPLETE: return tell(event::data, length);
            case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR:
                return tell(event::failed, static_cast<const WINHTTP_ASYNC_RESULT*>(information)->dwError);
            default: return;
        }
    }
    void enter(phase next) {
        const std::lock_guard lock(mutex_);
        if (state_.now >= next) return;
        state_.now = next;
        state_.since = clock::now();
    }
    void tell(event what, DWORD count) {
        const std::lock_guard lock(mutex_);
        state_.last = what;
        state_.count = count;
        SetEvent(signal_.get());
    }

    const std::unique_ptr<void, event_closer> signal_{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    std::mutex mutex_;
    state state_;
};

std::wstring widen(std::string_view ascii) {
    return {ascii.begin(), ascii.end()};
}

std::wstring describe(DWORD error) {
    switch (error) {
        case ERROR_WINHTTP_NAME_NOT_RESOLVED: return L"the host is not known";
        case ERROR_WINHTTP_CANNOT_CONNECT: return L"no connection";
        case ERROR_WINHTTP_CONNECTION_ERROR: return L"the connection was lost";
        case ERROR_WINHTTP_TIMEOUT: return L"no answer in time";
        case ERROR_WINHTTP_SECURE_FAILURE:
        case ERROR_WINHTTP_SECURE_CHANNEL_ERROR:
            return L"no secure connection, the host's certificate may not be trusted";
        case ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED: return L"the host wants a certificate of the client";
        case ERROR_WINHTTP_HEADER_SIZE_OVERFLOW: return L"the head of the answer is too long";
        default: return L"error " + std::to_wstring(error);
    }
}

std::string base64(std::string_view bytes) {
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string result;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t j = 0; j < 3; ++j)
            group = group << 8U | (i + j < bytes.size() ? static_cast<unsigned char>(bytes[i + j]) : 0U);
        for (std::size_t j = 0; j < 4; ++j)
            result += i + j <= bytes.size() ? digits[group >> (18U - 6U * j) & 0x3FU] : '=';
    }
    return result;
}

std::wstring headers_for(const url& address) {
    std::wstring headers = L"Accept-Encoding: gzip\r\n";
    if (!address.user_info.empty()) headers += L"Authorization: Basic " + widen(base64(address.user_info)) + L"\r\n";
    return headers;
}

// One that says nothing is as good as none.
std::optional<std::wstring> environment_variable(const wchar_t* name) {
    auto value =
        fill_buffer([name](wchar_t* buffer, DWORD size) { return GetEnvironmentVariableW(name, buffer, size); });
    if (value.empty()) return std::nullopt;
    return value;
}

// One session for all requests: connections are kept and used again. Null where there is none just now. It stays, and
// so does this library, whose functions it calls.
HINTERNET session() {
    static std::mutex mutex;
    static HINTERNET handle = nullptr;
    const std::lock_guard<std::mutex> lock(mutex);
    HMODULE self = nullptr;
    if (handle == nullptr && GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                                                reinterpret_cast<LPCWSTR>(&session), &self))
        handle = winhttp().open(L"qv-symsrv", WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY, WINHTTP_NO_PROXY_NAME,
                                WINHTTP_NO_PROXY_BYPASS, WINHTTP_FLAG_ASYNC);
    return handle;
}

class winhttp_request {
public:
    winhttp_request(const url& address, const http_limits& limits) : address_(address), limits_(limits) {}

    http_outcome run(const http_receiver& receiver) {
        if (!open()) return fails(GetLastError());
        const auto headers = headers_for(address_);
        if (!winhttp().send(request_.get(), headers.c_str(), static_cast<DWORD>(headers.size()),
                            WINHTTP_NO_REQUEST_DATA, 0, 0, 0))
            return fails(GetLastError());
        if (!reaches(progress::event::sent)) return failure_;
        if (!winhttp().receive(request_.get(), nullptr)) return fails(GetLastError());
        if (!reaches(progress::event::head)) return failure_;
        has_head_ = true;
        const auto head = read_head();
        if (!head) return fails(ERROR_WINHTTP_HEADER_SIZE_OVERFLOW);
        if (!receiver.begin(*head)) return complete();
        for (;;) {
            if (!winhttp().read(request_.get(), progress_->buffer.data(), static_cast<DWORD>(progress_->buffer.size()),
                                nullptr))
                return fails(GetLastError());
            if (!reaches(progress::event::data)) return failure_;
            if (count_ == 0 || !receiver.take(progress_->buffer.data(), count_)) return complete();
        }
    }

private:
    static http_outcome complete() { return {http_outcome::kind::complete, {}}; }

    http_outcome fails(DWORD error) const { return fails(describe(error)); }
    http_outcome fails(std::wstring reason) const {
        return {has_head_ ? http_outcome::kind::broken : http_outcome::kind::no_answer, std::move(reason)};
    }

    bool open() {
        if (!progress_->has_event()) return false;
        connection_.reset(winhttp().connect(session(), widen(address_.host).c_str(), address_.port, 0));
        if (!connection_) return false;
        request_.reset(winhttp().open_request(
            connection_.get(), L"GET", widen(address_.path + address_.query).c_str(), nullptr, WINHTTP_NO_REFERER,
            WINHTTP_DEFAULT_ACCEPT_TYPES, WINHTTP_FLAG_ESCAPE_DISABLE | (address_.secure ? WINHTTP_FLAG_SECURE : 0)));
        return request_ && listen() && choose_way() &&
               set(WINHTTP_OPTION_DISABLE_FEATURE,
                   WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_AUTHENTICATION | WINHTTP_DISABLE_COOKIES) &&
               set(WINHTTP_OPTION_AUTOLOGON_POLICY, WINHTTP_AUTOLOGON_SECURITY_LEVEL_HIGH) &&
               set(WINHTTP_OPTION_MAX_RESPONSE_HEADER_SIZE, longest_head);
    }

    bool set(DWORD option, DWORD value) {
        return winhttp().set_option(request_.get(), option, &value, sizeof value) != FALSE;
    }

    // From here on the closing of the request's handle, and nothing else, lets go of what is shared with WinHTTP.
    bool listen() {
        auto owner = std::make_unique<std::shared_ptr<progress>>(progress_);
        auto context = reinterpret_cast<DWORD_PTR>(owner.get());
        if (!winhttp().set_option(request_.get(), WINHTTP_OPTION_CONTEXT_VALUE, &context, sizeof context)) return false;
        if (winhttp().set_callback(request_.get(), &progress::on_status, WINHTTP_CALLBACK_FLAG_ALL_NOTIFICATIONS, 0) ==
            WINHTTP_INVALID_STATUS_CALLBACK)
            return false;
        owner.release();  // NOLINT(bugprone-unused-return-value)
        return true;
    }

    bool choose_way() {
        // Longer than the limits kept here, which are exact.
        constexpr int longest_ms = 300'000;
        if (!winhttp().set_timeouts(request_.get(), longest_ms, longest_ms, longest_ms, longest_ms)) return false;
        auto choice = choose_proxy(address_, &environment_variable);
        if (choice.way == proxy_choice::kind::system) return true;
        const bool direct = choice.way == proxy_choice::kind::none;
        WINHTTP_PROXY_INFO proxy = {};
        proxy.dwAccessType = direct ? WINHTTP_ACCESS_TYPE_NO_PROXY : WINHTTP_ACCESS_TYPE_NAMED_PROXY;
        proxy.lpszProxy = direct ? nullptr : choice.name.data();
        return winhttp().set_option(request_.get(), WINHTTP_OPTION_PROXY, &proxy, sizeof proxy) != FALSE;
    }

    // When the present step has taken too long.
    clock::time_point limit(const progress::state& state) const {
        if (has_head_ || state.last == progress::event::head) return limits_.end;
        const auto step = state.now == progress::phase::connecting  ? connect_limit
                          : state.now == progress::phase::connected ? first_byte_limit
                                                                    : connect_limit + first_byte_limit;
        return std::min(limits_.end, state.since + step);
    }

    // Waits for the event; false where it does not come, and `failure_` says why.
    bool reaches(progress::event wanted) {
        for (;;) {
            const auto state = progress_->wait();
            count_ = state.count;
            if (state.last == progress::event::failed)
                failure_ = fails(state.count);
            else if (is_cancelled())
                failure_ = {http_outcome::kind::cancelled, {}};
            else if (clock::now() >= limit(state))
                failure_ = fails(L"no answer in time");
            else if (state.last == wanted)
                return true;
            else
                continue;
            return false;
        }
    }

    // Asks no more often than the progress is looked at when nothing comes.
    bool is_cancelled() {
        if (!limits_.cancelled || clock::now() < next_question_) return false;
        next_question_ = clock::now() + std::chrono::milliseconds(poll_ms);
        return limits_.cancelled();
    }

    std::optional<std::wstring> header(DWORD which) const {
        std::array<wchar_t, 4096> text;
        auto size = static_cast<DWORD>(sizeof text);
        if (!winhttp().query(request_.get(), which, WINHTTP_HEADER_NAME_BY_INDEX, text.data(), &size,
                             WINHTTP_NO_HEADER_INDEX))
            return std::nullopt;
        return std::wstring(text.data(), size / sizeof(wchar_t));
    }

    // Headers are ASCII; what is not makes the value useless, and it is taken as such.
    std::string ascii_header(DWORD which) const {
        std::string result;
        for (const wchar_t unit : header(which).value_or(std::wstring()))
            result += unit < 0x80 ? static_cast<char>(unit) : '?';
        return result;
    }

    std::optional<http_response> read_head() const {
        http_response head = {};
        const auto status = ascii_header(WINHTTP_QUERY_STATUS_CODE);
        if (std::from_chars(status.data(), status.data() + status.size(), head.status).ec != std::errc())
            return std::nullopt;
        const auto length = ascii_header(WINHTTP_QUERY_CONTENT_LENGTH);
        std::uint64_t value = 0;
        if (std::from_chars(length.data(), length.data() + length.size(), value).ec == std::errc()) head.length = value;
        head.encoding = ascii_header(WINHTTP_QUERY_CONTENT_ENCODING);
        std::transform(head.encoding.begin(), head.encoding.end(), head.encoding.begin(),
                       [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
        head.location = ascii_header(WINHTTP_QUERY_LOCATION);
        head.retry_after = ascii_header(WINHTTP_QUERY_RETRY_AFTER);
        return head;
    }

    const url& address_;
    const http_limits& limits_;
    const std::shared_ptr<progress> progress_ = std::make_shared<progress>();
    internet_handle connection_;
    internet_handle request_;
    bool has_head_ = false;
    clock::time_point next_question_ = clock::now();
    DWORD count_ = 0;
    http_outcome failure_ = {};
};

class winhttp_transport_type final : public http_transport {
public:
    http_outcome get(const url& target, const http_limits& limits, const http_receiver& receiver) override {
        if (!has_winhttp() || session() == nullptr)
            return {http_outcome::kind::no_answer, L"this system has no WinHTTP"};
        return winhttp_request(target, limits).run(receiver);
    }
};

}  // namespace

http_transport& winhttp_transport() {
    static auto* const transport = new winhttp_transport_type;
    return *transport;
}

}  // namespace qv::symbol_store
