#include "pdb_client/library/session.h"

#include "base/exception.h"
#include "core/packets.h"
#include "pdb_client/library/answer_reader.h"

namespace qv::profiler::pdb_client {
namespace {

constexpr std::uint32_t max_packed = 0x1FFFFFFF;

// Anything else would silently become the token of another method on the wire.
void require_method_token(std::uint32_t token) {
    if ((token & 0xFF000000) != method_table || (token & 0xFFFFFF) == 0) throw_error("Not a method token");
}

void require_code(unsigned char code, unsigned char expected) {
    if (code != expected) throw_error("Unexpected answer code");
}

std::vector<source_range> read_ranges(answer_reader& in) {
    const std::uint64_t count = in.fields().ReadPacked();
    const std::vector<std::uint32_t> documents = in.words(count);
    const std::vector<std::uint32_t> start_lines = in.words(count);
    const std::vector<std::uint32_t> start_columns = in.words(count);
    const std::vector<std::uint32_t> end_lines = in.words(count);
    const std::vector<std::uint32_t> end_columns = in.words(count);
    std::vector<source_range> ranges(documents.size());
    for (std::size_t i = 0; i < ranges.size(); ++i)
        ranges[i] = {documents[i], start_lines[i], start_columns[i], end_lines[i], end_columns[i]};
    return ranges;
}

// The algorithm is on the wire only where a checksum follows.
document read_document(answer_reader& in) {
    document result{in.fields().ReadString(), {}, {}};
    if (const std::uint64_t count = in.fields().ReadPacked(); count != 0) {
        result.checksum_algorithm = in.fields().ReadGuid();
        result.checksum = in.bytes(count);
    }
    return result;
}

}  // namespace

session::session(ICoreStream& stream, const session_options& options) : stream_(stream), reader_(stream) {
    check_version();
    init(options);
}

// The packet is built in memory first and goes out in one Write: calls on a pipe are dear, and a packet that turns out
// to be too large must not be sent in part.
void session::send(std::uint8_t code, const MemoryStream& payload) {
    MemoryStream packet;
    packet_writer(packet).send(code, payload.bytes().size(), payload.bytes().data());
    stream_.Write(packet.bytes().data(), packet.bytes().size());
}

void session::check_version() {
    MemoryStream version;
    version.WriteGuid(protocol_version);
    send(packet_version, version);
    const unsigned char code = reader_.receive(nullptr);
    if (code == packet_version) throw_error("The server speaks another protocol version");
    require_code(code, packet_version_accepted);
}

void session::init(const session_options& options) {
    MemoryStream payload;
    payload.Write(&options.policy, 1);
    payload.WritePacked(options.search_paths.size());
    for (const std::wstring& path : options.search_paths) payload.WriteString(path);
    send(packet_options, payload);
    require_code(reader_.receive(nullptr), packet_options);
}

template <class Value, class WriteArguments, class ReadResult>
answer<Value> session::call(pdb_bridge_answer command, WriteArguments write_arguments, ReadResult read_result) {
    const auto code = static_cast<std::uint8_t>(command);
    const std::uint32_t request_id = last_request_id_ = (last_request_id_ + 1) & max_packed;
    MemoryStream request;
    request.WritePacked(request_id);
    write_arguments(static_cast<IWriteCoreStream&>(request));
    send(code, request);

    std::vector<unsigned char> payload;
    require_code(reader_.receive(&payload), code);
    answer_reader in(std::move(payload));
    if (in.fields().ReadPacked() != request_id) throw_error("The answer belongs to another request");
    if (std::string text = in.fields().ReadText(); !text.empty()) {
        in.finish();
        return server_error{std::move(text)};
    }
    Value result = read_result(in);
    in.finish();
    return result;
}

answer<std::uint32_t> session::load_module(std::wstring_view path, const GUID& mvid) {
    return call<std::uint32_t>(
        pdb_bridge_answer::load_module,
        [&](IWriteCoreStream& out) {
            out.WriteString(path);
            out.WriteGuid(mvid);
        },
        [](answer_reader& in) { return in.fields().ReadPacked32(); });
}

answer<nothing> session::unload_module(std::uint32_t module_id) {
    return call<nothing>(
        pdb_bridge_answer::unload_module, [&](IWriteCoreStream& out) { out.WritePacked(module_id); },
        [](answer_reader&) { return nothing{}; });
}

answer<std::vector<std::uint32_t>> session::get_method_offsets(std::uint32_t module_id, std::uint32_t method_token) {
    require_method_token(method_token);
    return call<std::vector<std::uint32_t>>(
        pdb_bridge_answer::get_method_offsets,
        [&](IWriteCoreStream& out) {
            out.WritePacked(module_id);
            out.WritePacked(token_to_wire(method_token));
        },
        [](answer_reader& in) { return in.words(in.fields().ReadPacked()); });
}

answer<std::vector<source_range>> session::get_method_ranges(std::uint32_t module_id, std::uint32_t method_token) {
    require_method_token(method_token);
    return call<std::vector<source_range>>(
        pdb_bridge_answer::get_method_ranges,
        [&](IWriteCoreStream& out) {
            out.WritePacked(module_id);
            out.WritePacked(token_to_wire(method_token));
        },
        read_ranges);
}

answer<document> session::get_document(std::uint32_t module_id, std::uint32_t document_id) {
    return call<document>(
        pdb_bridge_answer::get_document,
        [&](IWriteCoreStream& out) {
            out.WritePacked(module_id);
            out.WritePacked(document_id);
        },
        read_document);
}

answer<std::vector<std::uint8_t>> session::get_source_server_data(std::uint32_t module_id) {
    return call<std::vector<std::uint8_t>>(
        pdb_bridge_answer::get_source_server_data, [&](IWriteCoreStream& out) { out.WritePacked(module_id); },
        [](answer_reader& in) { return in.bytes(in.fields().ReadPacked()); });
}

answer<nothing> session::quit() {
    return call<nothing>(
        pdb_bridge_answer::quit, [](IWriteCoreStream&) {}, [](answer_reader&) { return nothing{}; });
}

}  // namespace qv::profiler::pdb_client
