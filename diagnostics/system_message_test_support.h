// For tests: system texts that are the same on every system.
#pragma once

#include "diagnostics/system_message.h"

namespace qv::test {

// Stands in for the operating system while it exists.
class canned_system_messages {
public:
    canned_system_messages() : previous_(detail::exchange_system_message_source(&answer)) {}
    ~canned_system_messages() { detail::exchange_system_message_source(previous_); }
    canned_system_messages(const canned_system_messages&) = delete;
    canned_system_messages& operator=(const canned_system_messages&) = delete;

    static constexpr std::uint32_t only_stops = 0x20000001;        // text of nothing but stops and line ends
    static constexpr std::uint32_t wrong_language = 0xABAD0001;    // in the table, but there is a system text
    static constexpr std::uint32_t stops_inside = 0x20000003;      // only the end is trimmed
    static constexpr std::uint32_t system_and_table = 0xA1CE0002;  // in the table, and the system knows it

private:
    static detail::system_message answer(std::uint32_t code) {
        switch (code) {
            case 2: return {"The system cannot find the file specified.\r\n", false};
            case 5: return {"Access is denied.\r\n", false};
            case 0x80004005: return {"Unspecified error\r\n", false};
            case only_stops: return {"..\r\n.\r\n", false};
            case wrong_language: return {std::nullopt, true};
            case stops_inside: return {"One. Two\r\nThree... \r\n.", false};
            case system_and_table: return {"The system's own.", false};
            default: return {};
        }
    }

    detail::system_message_source previous_;
};

}  // namespace qv::test
