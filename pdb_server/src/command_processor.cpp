#include "pdb_server/src/command_processor.h"

#include <bit>
#include <string>
#include <utility>

#include "base/exception.h"
#include "core/bridge_protocol.h"
#include "core/stream/MemoryStreams.h"
#include "diagnostics/error_text.h"
#include "diagnostics/log.h"
#include "pdb_server/src/interruption.h"
#include "text/path.h"
#include "text/utf.h"

namespace qv::profiler::pdb_server {
namespace {

using words = point_values;
using bytes = std::vector<unsigned char>;

constexpr const char* source = "pdb_server/src/command_processor";

// Far beyond any list that a client means.
constexpr std::size_t most_search_paths = 1u << 20;

// What the commands of a connection need memory for. It is kept for the next command, so that a short one asks for
// none.
struct command_buffers {
    static constexpr std::size_t most_kept = 1u << 20;  // bytes; more goes back when the command is over

    bytes payload;
    MemoryStream answer;
    words offsets;
    method_ranges ranges;

    std::size_t size() const noexcept {
        std::size_t kept =
            payload.capacity() + answer.bytes().capacity() + offsets.capacity() * sizeof(words::value_type);
        for (const words& vector : ranges) kept += vector.capacity() * sizeof(words::value_type);
        return kept;
    }
};

// All of the payload must have been parsed.
void check_payload_end(const ISeekStream& stream, const bytes& payload, const throw_location& where) {
    if (stream.GetPosition() != payload.size()) throw_error("Not all data were read", where);
}

// --- The shape that all module commands share: parse the arguments, run the query, send the answer.

// An empty text would mean success, so a failure without words is given some.
std::string current_error_text() {
    const exception_description description = describe_current_exception();
    std::string text = description.text.empty() ? unknown_error_text : description.text;
    if (description.continuation) text += "\r\n\t'" + *description.continuation + "'";
    return text;
}

// Runs a query; whatever it throws becomes the error text of the answer and a warning in the log. Empty on success.
template <class Query>
std::string execute_guarded(const Query& query) {
    try {
        query();
        return {};
    } catch (...) {
        log::write_warning();
        return current_error_text();
    }
}

// Only the query itself may fail and still be answered. A payload that is malformed, or a result that cannot be
// written, leaves as an exception with nothing sent. `result` may hold what another command has left there.
template <pdb_bridge_answer Answer, class arg_type, class res_type>
void receive_send_command(const char* context, command_buffers& buffers, packet_writer* writer, res_type& result,
                          const std::function<void(IReadCoreStream*, arg_type&)>& read_argument,
                          const std::function<void(const arg_type&, res_type&)>& execute,
                          const std::function<void(const res_type&, IWriteCoreStream*)>& write_result) {
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::`anonymous-namespace'::receive_send_command(const class "
        "std::vector<unsigned char,class std::allocator<unsigned char> > &,class packet_writer *)",
        source};
    const log::scope scope(log::component::CoreBridge, context);
    MemoryBlockStream request(buffers.payload);
    const std::uint64_t request_id = request.ReadPacked();
    log::write_received(log::component::CoreBridge, context, request_id);
    arg_type argument{};
    read_argument(&request, argument);
    check_payload_end(request, buffers.payload, {here, 41});

    const std::string error = execute_guarded([&] { execute(argument, result); });
    if (error.empty()) log::write_executed(log::component::CoreBridge, context, request_id);

    MemoryStream& answer = buffers.answer;
    answer.Clear();
    answer.WritePacked(request_id);
    answer.WriteText(error);
    if (error.empty()) write_result(result, &answer);
    writer->send(static_cast<unsigned char>(Answer), answer.bytes().size(), answer.bytes().data());
}

// The same for commands that nobody asks by the thousand.
template <pdb_bridge_answer Answer, class arg_type, class res_type>
void receive_send_command(const char* context, command_buffers& buffers, packet_writer* writer,
                          const std::function<void(IReadCoreStream*, arg_type&)>& read_argument,
                          const std::function<void(const arg_type&, res_type&)>& execute,
                          const std::function<void(const res_type&, IWriteCoreStream*)>& write_result) {
    res_type result{};
    receive_send_command<Answer>(context, buffers, writer, result, read_argument, execute, write_result);
}

// --- The module commands.

struct empty_record {};

struct module_argument {
    std::uint32_t mid = 0;
};

struct method_argument {
    std::uint32_t mid = 0;
    std::uint32_t token = 0;
};

struct load_argument {
    std::wstring path;
    GUID mvid{};
};

struct document_argument {
    std::uint32_t mid = 0;
    std::uint32_t did = 0;
};

struct document_result {
    std::string url;  // in UTF-8, as it is sent
    GUID checksum_algorithm{};
    bytes checksum;
};

void read_module(IReadCoreStream* stream, module_argument& argument) {
    argument.mid = stream->ReadPacked32();
}

void read_method(IReadCoreStream* stream, method_argument& argument) {
    argument.mid = stream->ReadPacked32();
    argument.token = token_from_wire(stream->ReadPacked32());
}

// Values travel as 4 little-endian bytes each, in one block.
void write_words(IWriteCoreStream* stream, const words& values) {
    static_assert(std::endian::native == std::endian::little);
    stream->Write(values.data(), std::uint64_t{values.size()} * sizeof(std::uint32_t));
}

void write_bytes(IWriteCoreStream* stream, const bytes& values) {
    stream->WritePacked(values.size());
    stream->Write(values.data(), values.size());
}

void write_nothing(const empty_record&, IWriteCoreStream*) {}

void cmd_load_module(command_buffers& buffers, packet_writer* writer, pdb_processor& processor) {
    receive_send_command<pdb_bridge_answer::load_module, load_argument, std::uint32_t>(
        "CP::CmdLoadModule", buffers, writer,
        [](IReadCoreStream* stream, load_argument& argument) {
            argument.path = stream->ReadString();
            argument.mvid = stream->ReadGuid();
        },
        [&](const load_argument& argument, std::uint32_t& mid) {
            mid = processor.load_module(text::to_path(argument.path), argument.mvid);
        },
        [](const std::uint32_t& mid, IWriteCoreStream* stream) { stream->WritePacked(mid); });
}

void cmd_unload_module(command_buffers& buffers, packet_writer* writer, pdb_processor& processor) {
    receive_send_command<pdb_bridge_answer::unload_module, module_argument, empty_record>(
        "CP::CmdUnloadModule", buffers, writer, read_module,
        [&](const module_argument& argument, empty_record&) { processor.unload_module(argument.mid); }, write_nothing);
}

void cmd_get_method_offsets(command_buffers& buffers, packet_writer* writer, pdb_processor& processor) {
    receive_send_command<pdb_bridge_answer::get_method_offsets, method_argument, words>(
        "CP::CmdGetMethodOffsets", buffers, writer, buffers.offsets, read_method,
        [&](const method_argument& argument, words& offsets) {
            processor.get_method_offsets(argument.mid, argument.token, offsets);
        },
        [](const words& offsets, IWriteCoreStream* stream) {
            stream->WritePacked(offsets.size());
            write_words(stream, offsets);
        });
}

void cmd_get_method_ranges(command_buffers& buffers, packet_writer* writer, pdb_processor& processor) {
    receive_send_command<pdb_bridge_answer::get_method_ranges, method_argument, method_ranges>(
        "CP::CmdGetMethodRanges", buffers, writer, buffers.ranges, read_method,
        [&](const method_argument& argument, method_ranges& r) {
            processor.get_method_ranges(argument.mid, argument.token, r[0], r[1], r[2], r[3], r[4]);
        },
        write_method_ranges);
}

void cmd_get_source_server_data(command_buffers& buffers, packet_writer* writer, pdb_processor& processor) {
    receive_send_command<pdb_bridge_answer::get_source_server_data, module_argument, bytes>(
        "CP::CmdGetModuleSourceServerdata", buffers, writer, read_module,
        [&](const module_argument& argument, bytes& data) { processor.get_source_server_data(argument.mid, data); },
        [](const bytes& data, IWriteCoreStream* stream) { write_bytes(stream, data); });
}

void cmd_get_document(command_buffers& buffers, packet_writer* writer, pdb_processor& processor) {
    receive_send_command<pdb_bridge_answer::get_document, document_argument, document_result>(
        "CP::CmdGetDocument", buffers, writer,
        [](IReadCoreStream* stream, document_argument& argument) {
            argument.mid = stream->ReadPacked32();
            argument.did = stream->ReadPacked32();
        },
        [&](const document_argument& argument, document_result& result) {
            std::wstring url;
            processor.get_document(argument.mid, argument.did, url, result.checksum_algorithm, result.checksum);
            // A URL that has no UTF-8 form is a failure of the query: there is nothing else wrong with the
            // conversation.
            result.url = text::to_utf8(url);
        },
        [](const document_result& result, IWriteCoreStream* stream) {
            stream->WriteText(result.url);
            // The algorithm says nothing without a checksum, so it travels only together with one.
            stream->WritePacked(result.checksum.size());
            if (result.checksum.empty()) return;
            stream->WriteGuid(result.checksum_algorithm);
            stream->Write(result.checksum.data(), result.checksum.size());
        });
}

void cmd_quit(command_buffers& buffers, packet_writer* writer, bool& quit) {
    receive_send_command<pdb_bridge_answer::quit, empty_record, empty_record>(
        "CP::CmdQuit", buffers, writer, [](IReadCoreStream*, empty_record&) {},
        [&](const empty_record&, empty_record&) { quit = true; }, write_nothing);
}

// --- The handshake.

// First packet of a conversation: both sides must name the same protocol version. A client of another version is told
// so before the exception leaves.
void cmd_check_version(packet_reader* reader, packet_writer* writer) {
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::`anonymous-namespace'::cmd_check_version(class packet_reader *,class "
        "packet_writer *)",
        source};
    bytes payload;
    if (reader->receive(&payload) != packet_version) throw_error("Unknown version answer", {here, 341});
    MemoryBlockStream stream(payload);
    const GUID version = stream.ReadGuid();
    // The wording belongs to another command; clients and log readers know it as it stands.
    if (stream.GetPosition() != payload.size()) throw_error("Not all unload module data were read", {here, 347});
    if (!(version == protocol_version)) {
        writer->send(packet_version, 0, nullptr);
        throw_error("Unexpect PDB server version", {here, 353});
    }
    writer->send(packet_version_accepted, 0, nullptr);
}

// Second packet: search policy and search paths.
void cmd_init(packet_reader* reader, packet_writer* writer, pdb_processor& processor) {
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::`anonymous-namespace'::cmd_init(class packet_reader *,class "
        "packet_writer *,class qv::profiler::pdb_server::pdb_processor &)",
        source};
    bytes payload;
    if (reader->receive(&payload) != packet_options) throw_error("Unexpected options command", here);
    MemoryBlockStream stream(payload);
    std::uint8_t policy = 0;
    stream.Read(&policy, sizeof policy);
    std::vector<std::wstring> paths;
    // Every string takes at least one byte, so the payload bounds the list whatever the count says; but an empty one
    // takes many times that in memory.
    for (std::uint32_t left = stream.ReadPacked32(); left != 0; --left) {
        if (paths.size() == most_search_paths) throw_error("Too many search paths", here);
        paths.push_back(stream.ReadString());
    }
    check_payload_end(stream, payload, here);
    processor.init(policy, paths);
    writer->send(packet_options, 0, nullptr);
}

constexpr throw_site process_commands_site{
    "void __cdecl qv::profiler::pdb_server::process_commands(const class std::function<bool __cdecl(void)> &,const "
    "class std::function<bool __cdecl(int)> &,class packet_reader *,class packet_writer *)",
    source};

void dispatch(unsigned char code, command_buffers& buffers, packet_writer* writer, pdb_processor& processor,
              bool& quit) {
    switch (static_cast<pdb_bridge_answer>(code)) {
        case pdb_bridge_answer::load_module: return cmd_load_module(buffers, writer, processor);
        case pdb_bridge_answer::unload_module: return cmd_unload_module(buffers, writer, processor);
        case pdb_bridge_answer::get_method_offsets: return cmd_get_method_offsets(buffers, writer, processor);
        case pdb_bridge_answer::get_method_ranges: return cmd_get_method_ranges(buffers, writer, processor);
        case pdb_bridge_answer::get_source_server_data: return cmd_get_source_server_data(buffers, writer, processor);
        case pdb_bridge_answer::get_document: return cmd_get_document(buffers, writer, processor);
        case pdb_bridge_answer::quit: return cmd_quit(buffers, writer, quit);
    }
    throw_error("Unknown command", {process_commands_site, 417});
}

// A connection that has ended has no data, and says so by a failure.
bool has_left(const std::function<bool(int)>& wait) {
    try {
        wait(0);
        return false;
    } catch (const std::exception&) {
        return true;
    }
}

}  // namespace

void write_method_ranges(const method_ranges& ranges, IWriteCoreStream* stream) {
    static constexpr throw_site here{
        "void __cdecl qv::profiler::pdb_server::`anonymous-namespace'::write_result(const struct "
        "qv::profiler::pdb_server::cmd_get_method_ranges::res_type &,class IWriteCoreStream *)",
        source};
    for (const words& vector : ranges)
        if (vector.size() != ranges[0].size()) throw_error("Inconsistent rage information sizes", here);
    stream->WritePacked(ranges[0].size());
    for (const words& vector : ranges) write_words(stream, vector);
}

void process_commands(const std::function<bool()>& stop, const std::function<bool(int)>& wait, packet_reader* reader,
                      packet_writer* writer, const platform_services& services) {
    // How long an idle loop goes without asking whether it is to stop.
    static constexpr int wait_milliseconds = 100;

    const log::scope scope(log::component::CoreBridge, "CP::ProcessCommands");
    const interruption giving_up([&] { return stop() || has_left(wait); });
    cmd_check_version(reader, writer);
    pdb_processor processor(services, stop);
    cmd_init(reader, writer, processor);
    command_buffers buffers;
    bool quit = false;
    while (!quit && !stop()) {
        if (!wait(wait_milliseconds)) continue;
        const unsigned char code = reader->receive(&buffers.payload);
        dispatch(code, buffers, writer, processor, quit);
        if (buffers.size() > command_buffers::most_kept) buffers = {};
    }
    processor.terminate();
}

}  // namespace qv::profiler::pdb_server
