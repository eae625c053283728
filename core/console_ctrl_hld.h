// Holds the process's handler of console control events (Ctrl-C and its kin). Windows only.
#pragma once

#include <cstdint>
#include <functional>

namespace quorvex::common::os {

// At most one holder may exist in the process. The callable receives the control type (0 is Ctrl-C) and returns whether
// it has handled the event; false, or an exception, leaves the event to the system. It runs on a thread of the system.
// The destructor unregisters the handler and returns only when no call is under way any more; the callable itself must
// therefore not destroy the holder.
class console_ctrl_hld {
public:
    using callable = std::function<bool(std::uint32_t control_type)>;

    // Throws qv::exception where there is a holder already, and qv::win32_error_exception.
    explicit console_ctrl_hld(callable handler);
    ~console_ctrl_hld();
    console_ctrl_hld(const console_ctrl_hld&) = delete;
    console_ctrl_hld& operator=(const console_ctrl_hld&) = delete;
};

}  // namespace quorvex::common::os
