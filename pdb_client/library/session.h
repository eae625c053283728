// A conversation with the symbol server: one typed call for each command of the bridge protocol (docs/protocol.md).
//
//     pipe_connection pipe(L"my_pipe", {seconds(5), seconds(30)});
//     session symbols(pipe, {.search_paths = {L"C:\\symbols"}});
//
//     const answer<std::uint32_t> module = symbols.load_module(L"C:\\app\\orders.dll", mvid);
//     if (!module.ok()) return report(module.error());         // the server's words
//     if (module.value() == 0) return report("no symbols");    // nothing was loaded, which is no error
//
//     const auto offsets = symbols.get_method_offsets(module.value(), 0x06000005);
//     const auto ranges = symbols.get_method_ranges(module.value(), 0x06000005);
//     if (offsets.ok() && ranges.ok())                         // point i: offset i and range i
//         for (std::size_t i = 0; i < ranges.value().size(); ++i)
//             use(offsets.value()[i], ranges.value()[i], symbols.get_document(module.value(), ...));
//
//     symbols.quit();
//
// A session belongs to one thread at a time. Module ids and document ids are good within the session that gave them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/guid.h"
#include "core/bridge_protocol.h"
#include "core/packets.h"
#include "core/stream/CoreStreams.h"
#include "core/stream/MemoryStreams.h"
#include "pdb_client/library/answer.h"

namespace qv::profiler::pdb_client {

// Where the server looks for symbols, besides its own environment.
struct session_options {
    std::uint8_t policy = policy_symbol_server | policy_original_path | policy_reference_path;
    std::vector<std::wstring> search_paths;  // absolute directories, or "srv*..." and the like
};

// The source of one sequence point; lines and columns count from 1.
struct source_range {
    std::uint32_t document_id;
    std::uint32_t start_line;
    std::uint32_t start_column;
    std::uint32_t end_line;
    std::uint32_t end_column;

    // Code of the compiler's own, without a place in the source.
    bool hidden() const noexcept { return start_line == hidden_line; }

    friend bool operator==(const source_range&, const source_range&) = default;
};

struct document {
    std::wstring url;
    GUID checksum_algorithm;             // all zero when there is no checksum
    std::vector<std::uint8_t> checksum;  // may be empty
};

// Calls throw when the conversation itself fails: qv::exception for an answer that breaks the protocol, and whatever
// the stream throws. The session is of no use afterwards. Arguments that the protocol cannot carry throw before
// anything is sent, and the session goes on: qv::exception for what is no method token and for an id above 0x1FFFFFFF,
// std::runtime_error for text that is not UTF-16.
class session {
public:
    // Agrees on the protocol version and sends the options. The stream is not owned and must outlive the session.
    // Throws qv::exception where the server speaks another version, besides the above.
    session(ICoreStream& stream, const session_options& options);

    // Loads the symbols of the image at `path`, whose module version id must be `mvid`. A relative path is looked for
    // along the search paths. Answers the module id, or 0 when the module was not found or has no symbols.
    answer<std::uint32_t> load_module(std::wstring_view path, const GUID& mvid);

    // An unknown id is accepted in silence.
    answer<nothing> unload_module(std::uint32_t module_id);

    // The IL offset of each sequence point of the method; the token is a MethodDef (0x06......).
    answer<std::vector<std::uint32_t>> get_method_offsets(std::uint32_t module_id, std::uint32_t method_token);

    // The source of each sequence point, in the order of get_method_offsets.
    answer<std::vector<source_range>> get_method_ranges(std::uint32_t module_id, std::uint32_t method_token);

    // A document by the id that a source range carries.
    answer<document> get_document(std::uint32_t module_id, std::uint32_t document_id);

    // The Source Link document (JSON) or source-server stream of the module; empty when it has none.
    answer<std::vector<std::uint8_t>> get_source_server_data(std::uint32_t module_id);

    // Ends the conversation; the server hangs up after its answer.
    answer<nothing> quit();

private:
    void check_version();
    void init(const session_options& options);
    void send(std::uint8_t code, const MemoryStream& payload);
    template <class Value, class WriteArguments, class ReadResult>
    answer<Value> call(pdb_bridge_answer command, WriteArguments write_arguments, ReadResult read_result);

    ICoreStream& stream_;
    packet_reader reader_;
    std::uint32_t last_request_id_ = 0;
};

}  // namespace qv::profiler::pdb_client
