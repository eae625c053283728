#include "pdb_server/src/receive_send_command.h"

#include "qv/diagnostics/error_text.h"

namespace qv::profiler::pdb_server {
namespace {

// An empty text would mean success, so a failure without words is given some.
std::string current_error_text() {
    const exception_description description = describe_current_exception();
    std::string text = description.text.empty() ? unknown_error_text : description.text;
    if (description.continuation) text += "\r\n\t'" + *description.continuation + "'";
    return text;
}

}  // namespace

std::string execute_guarded(const std::function<void()>& query) {
    try {
        query();
        return {};
    } catch (...) {
        log::write_warning();
        return current_error_text();
    }
}

void check_payload_end(const ISeekStream& stream, const std::vector<unsigned char>& payload, const char* function,
                       unsigned line) {
    if (stream.GetPosition() != payload.size())
        throw_error("Not all data were read", function, command_processor_source, line);
}

}  // namespace qv::profiler::pdb_server
