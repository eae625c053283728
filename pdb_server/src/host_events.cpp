#include "pdb_server/src/host_events.h"

#include "base/exception.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr const char* source = "pdb_server/src/host_events";

// The right to wait is enough, and may be all that another account's event gives.
handle_hld open_or_create(const std::wstring& name, const throw_location& where) {
    handle_hld event(OpenEventW(SYNCHRONIZE, FALSE, name.c_str()));
    if (!event && GetLastError() == ERROR_FILE_NOT_FOUND) event.reset(CreateEventW(nullptr, TRUE, FALSE, name.c_str()));
    if (!event) {
        const DWORD error = GetLastError();
        throw_win32_error("Can't create event", error, where, errtag_source_w{name});
    }
    return event;
}

handle_hld open_ready_event(const std::wstring& name) {
    return handle_hld(OpenEventW(EVENT_MODIFY_STATE, FALSE, name.c_str()));
}

// A name that leads nowhere cannot have been created either.
bool is_absent(DWORD error) {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

}  // namespace

bool set_external_ready_signal(const std::wstring& pipe) {
    static constexpr throw_site here{
        "bool __cdecl qv::profiler::pdb_server::set_external_ready_signal(const class std::basic_string<wchar_t,struct "
        "std::char_traits<wchar_t>,class std::allocator<wchar_t> > &)",
        source};
    const std::wstring name = pipe + L"_ready";
    handle_hld event = open_ready_event(name);
    // A host in another session shares no other names with the server than these.
    if (!event && is_absent(GetLastError())) event = open_ready_event(L"Global\\" + name);
    if (!event && is_absent(GetLastError())) return false;
    if (!event || !SetEvent(event.get())) {
        const DWORD error = GetLastError();
        throw_win32_error("Can't set event", error, here, errtag_source_w{name});
    }
    return true;
}

external_stop_request::external_stop_request(const std::wstring& event_name) {
    static constexpr throw_site here{
        "__cdecl qv::profiler::pdb_server::external_stop_request::external_stop_request(const class "
        "std::basic_string<wchar_t,struct std::char_traits<wchar_t>,class std::allocator<wchar_t> > &)",
        source};
    if (!event_name.empty()) event_ = open_or_create(event_name, here);
}

bool external_stop_request::requested() noexcept {
    if (!requested_ && event_ && WaitForSingleObject(event_.get(), 0) == WAIT_OBJECT_0) requested_ = true;
    return requested_;
}

}  // namespace qv::profiler::pdb_server
