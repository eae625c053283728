#include "pdb_server/src/command_processor.h"

#include "pdb_server/src/module_commands.h"
#include "pdb_server/src/receive_send_command.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr const char* source = command_processor_source;

// Far beyond any list that a client means.
constexpr std::size_t most_search_paths = 1u << 20;

// Bytes that a connection keeps for its next packet; a greater buffer goes back when its command is over.
constexpr std::size_t kept_payload = 1u << 20;

void dispatch(unsigned char code, const std::vector<unsigned char>& payload, packet_writer* writer,
              pdb_processor& processor, bool& quit) {
    switch (static_cast<pdb_bridge_answer>(code)) {
        case pdb_bridge_answer::load_module: return cmd_load_module(payload, writer, processor);
        case pdb_bridge_answer::unload_module: return cmd_unload_module(payload, writer, processor);
        case pdb_bridge_answer::get_method_offsets: return cmd_get_method_offsets(payload, writer, processor);
        case pdb_bridge_answer::get_method_ranges: return cmd_get_method_ranges(payload, writer, processor);
        case pdb_bridge_answer::get_source_server_data: return cmd_get_source_server_data(payload, writer, processor);
        case pdb_bridge_answer::get_document: return cmd_get_document(payload, writer, processor);
        case pdb_bridge_answer::quit: return cmd_quit(payload, writer, quit);
    }
    throw_error("Unknown command",
                "void __cdecl qv::profiler::pdb_server::process_commands(const class std::function<bool __cdecl(void)> "
                "&,const class std::function<bool __cdecl(int)> &,class packet_reader *,class packet_writer *)",
                source, 417);
}

}  // namespace

void cmd_check_version(packet_reader* reader, packet_writer* writer) {
    static constexpr const char* function =
        "void __cdecl qv::profiler::pdb_server::`anonymous-namespace'::cmd_check_version(class packet_reader *,class "
        "packet_writer *)";
    std::vector<unsigned char> payload;
    if (reader->receive(&payload) != packet_version) throw_error("Unknown version answer", function, source, 341);
    MemoryBlockStream stream(payload);
    const GUID version = stream.ReadGuid();
    // The wording belongs to another command; clients and log readers know it as it stands.
    if (stream.GetPosition() != payload.size())
        throw_error("Not all unload module data were read", function, source, 347);
    if (!(version == protocol_version)) {
        writer->send(packet_version, 0, nullptr);
        throw_error("Unexpect PDB server version", function, source, 353);
    }
    writer->send(packet_version_accepted, 0, nullptr);
}

void cmd_init(packet_reader* reader, packet_writer* writer, pdb_processor& processor) {
    static constexpr const char* function =
        "void __cdecl qv::profiler::pdb_server::`anonymous-namespace'::cmd_init(class packet_reader *,class "
        "packet_writer *,class qv::profiler::pdb_server::pdb_processor &)";
    std::vector<unsigned char> payload;
    if (reader->receive(&payload) != packet_options)
        throw_error("Unexpected options command", function, source, __LINE__);
    MemoryBlockStream stream(payload);
    std::uint8_t policy = 0;
    stream.Read(&policy, sizeof policy);
    std::vector<std::wstring> paths;
    // Every string takes at least one byte, so the payload bounds the list whatever the count says; but an empty one
    // takes many times that in memory.
    for (std::uint32_t left = stream.ReadPacked32(); left != 0; --left) {
        if (paths.size() == most_search_paths) throw_error("Too many search paths", function, source, __LINE__);
        paths.push_back(stream.ReadString());
    }
    check_payload_end(stream, payload, function, __LINE__);
    processor.init(policy, paths);
    writer->send(packet_options, 0, nullptr);
}

void process_commands(const std::function<bool()>& stop, const std::function<bool(int)>& wait, packet_reader* reader,
                      packet_writer* writer, const platform_services& services) {
    // How long an idle loop goes without asking whether it is to stop.
    static constexpr int wait_milliseconds = 100;

    const log::scope scope(log::component::CoreBridge, "CP::ProcessCommands");
    cmd_check_version(reader, writer);
    pdb_processor processor(services, stop);
    cmd_init(reader, writer, processor);
    std::vector<unsigned char> payload;
    bool quit = false;
    while (!quit && !stop()) {
        if (!wait(wait_milliseconds)) continue;
        const unsigned char code = reader->receive(&payload);
        dispatch(code, payload, writer, processor, quit);
        if (payload.capacity() > kept_payload) std::vector<unsigned char>().swap(payload);
    }
    processor.terminate();
}

}  // namespace qv::profiler::pdb_server
