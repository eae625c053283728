#include "core/console_ctrl_hld.h"

#include <windows.h>

#include <mutex>
#include <utility>

#include "base/exception.h"

namespace quorvex::common::os {
namespace {

// The system's handler has no context argument, hence the process-wide place. The mutex is held during a call.
std::mutex current_mutex;
bool exists = false;
console_ctrl_hld::callable current;

BOOL WINAPI handle_control(DWORD control_type) noexcept {
    try {
        const std::lock_guard<std::mutex> lock(current_mutex);
        return current && current(control_type) ? TRUE : FALSE;
    } catch (...) {
        return FALSE;  // there is no caller of ours that could be told
    }
}

}  // namespace

console_ctrl_hld::console_ctrl_hld(callable handler) {
    static constexpr qv::throw_site here{
        "__cdecl quorvex::common::os::console_ctrl_hld::console_ctrl_hld(class std::function<bool __cdecl(unsigned "
        "int)>)",
        "sharedCommon/Native/Shared/include/quorvex/common/os/console_ctrl_hld"};
    const std::lock_guard<std::mutex> lock(current_mutex);
    if (exists) qv::throw_error("Only one instance of the console ctrl holder is allowed", here);
    if (!SetConsoleCtrlHandler(handle_control, TRUE))
        qv::throw_win32_error("Can't add control handler", GetLastError(), here);
    exists = true;
    current = std::move(handler);
}

console_ctrl_hld::~console_ctrl_hld() {
    SetConsoleCtrlHandler(handle_control, FALSE);
    const std::lock_guard<std::mutex> lock(current_mutex);
    current = nullptr;
    exists = false;
}

}  // namespace quorvex::common::os
