// The shape that all module commands share: parse the arguments, run the query, send the answer.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/src/bridges/bridge_protocol.h"
#include "core/src/bridges/packet_writer.h"
#include "core/src/stream/MemoryBlockStream.h"
#include "core/src/stream/MemoryStream.h"
#include "qv/diagnostics/exception.h"
#include "qv/diagnostics/log.h"

namespace qv::profiler::pdb_server {

constexpr const char* command_processor_source = "pdb_server/src/command_processor";

// Runs a query; whatever it throws becomes the error text of the answer and a warning in the log. Empty on success.
std::string execute_guarded(const std::function<void()>& query);

// Throws "Not all data were read" unless the whole payload has been parsed.
void check_payload_end(const ISeekStream& stream, const std::vector<unsigned char>& payload, const char* function,
                       unsigned line);

// Only the query itself may fail and still be answered. A payload that is malformed, or a result that cannot be
// written, leaves as an exception with nothing sent.
template <pdb_bridge_answer Answer, class arg_type, class res_type>
void receive_send_command(const char* context, const std::vector<unsigned char>& payload, packet_writer* writer,
                          const std::function<void(IReadCoreStream*, arg_type&)>& read_argument,
                          const std::function<void(const arg_type&, res_type&)>& execute,
                          const std::function<void(const res_type&, IWriteCoreStream*)>& write_result) {
    const log::scope scope(log::component::CoreBridge, context);
    MemoryBlockStream request(payload);
    const std::uint64_t request_id = request.ReadPacked();
    log::write_received(log::component::CoreBridge, context, request_id);
    arg_type argument{};
    read_argument(&request, argument);
    check_payload_end(request, payload,
                      "void __cdecl qv::profiler::pdb_server::`anonymous-namespace'::receive_send_command(const class "
                      "std::vector<unsigned char,class std::allocator<unsigned char> > &,class packet_writer *)",
                      41);

    res_type result{};
    const std::string error = execute_guarded([&] { execute(argument, result); });
    if (error.empty()) log::write_executed(log::component::CoreBridge, context, request_id);

    MemoryStream answer;
    answer.WritePacked(request_id);
    answer.WriteText(error);
    if (error.empty()) write_result(result, &answer);
    writer->send(static_cast<unsigned char>(Answer), answer.bytes().size(), answer.bytes().data());
}

}  // namespace qv::profiler::pdb_server
