#include "pdb_server/src/module_commands.h"

#include <bit>
#include <utility>

#include "pdb_server/src/receive_send_command.h"
#include "qv/text/path.h"
#include "qv/text/utf.h"

namespace qv::profiler::pdb_server {
namespace {

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
    std::vector<unsigned char> checksum;
};

using words = std::vector<std::uint32_t>;
using bytes = std::vector<unsigned char>;

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

}  // namespace

void cmd_load_module(const bytes& payload, packet_writer* writer, pdb_processor& processor) {
    receive_send_command<pdb_bridge_answer::load_module, load_argument, std::uint32_t>(
        "CP::CmdLoadModule", payload, writer,
        [](IReadCoreStream* stream, load_argument& argument) {
            argument.path = stream->ReadString();
            argument.mvid = stream->ReadGuid();
        },
        [&](const load_argument& argument, std::uint32_t& mid) {
            mid = processor.load_module(text::to_path(argument.path), argument.mvid);
        },
        [](const std::uint32_t& mid, IWriteCoreStream* stream) { stream->WritePacked(mid); });
}

void cmd_unload_module(const bytes& payload, packet_writer* writer, pdb_processor& processor) {
    receive_send_command<pdb_bridge_answer::unload_module, module_argument, empty_record>(
        "CP::CmdUnloadModule", payload, writer, read_module,
        [&](const module_argument& argument, empty_record&) { processor.unload_module(argument.mid); }, write_nothing);
}

void cmd_get_method_offsets(const bytes& payload, packet_writer* writer, pdb_processor& processor) {
    receive_send_command<pdb_bridge_answer::get_method_offsets, method_argument, words>(
        "CP::CmdGetMethodOffsets", payload, writer, read_method,
        [&](const method_argument& argument, words& offsets) {
            processor.get_method_offsets(argument.mid, argument.token, offsets);
        },
        [](const words& offsets, IWriteCoreStream* stream) {
            stream->WritePacked(offsets.size());
            write_words(stream, offsets);
        });
}

void cmd_get_method_ranges(const bytes& payload, packet_writer* writer, pdb_processor& processor) {
    receive_send_command<pdb_bridge_answer::get_method_ranges, method_argument, method_ranges>(
        "CP::CmdGetMethodRanges", payload, writer, read_method,
        [&](const method_argument& argument, method_ranges& r) {
            processor.get_method_ranges(argument.mid, argument.token, r[0], r[1], r[2], r[3], r[4]);
        },
        write_method_ranges);
}

void write_method_ranges(const method_ranges& ranges, IWriteCoreStream* stream) {
    for (const words& vector : ranges)
        if (vector.size() != ranges[0].size())
            throw_error("Inconsistent rage information sizes",
                        "void __cdecl qv::profiler::pdb_server::`anonymous-namespace'::write_result(const struct "
                        "qv::profiler::pdb_server::cmd_get_method_ranges::res_type &,class IWriteCoreStream *)",
                        command_processor_source, __LINE__);
    stream->WritePacked(ranges[0].size());
    for (const words& vector : ranges) write_words(stream, vector);
}

void cmd_get_source_server_data(const bytes& payload, packet_writer* writer, pdb_processor& processor) {
    receive_send_command<pdb_bridge_answer::get_source_server_data, module_argument, bytes>(
        "CP::CmdGetModuleSourceServerdata", payload, writer, read_module,
        [&](const module_argument& argument, bytes& data) { processor.get_source_server_data(argument.mid, data); },
        [](const bytes& data, IWriteCoreStream* stream) { write_bytes(stream, data); });
}

void cmd_get_document(const bytes& payload, packet_writer* writer, pdb_processor& processor) {
    receive_send_command<pdb_bridge_answer::get_document, document_argument, document_result>(
        "CP::CmdGetDocument", payload, writer,
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

void cmd_quit(const bytes& payload, packet_writer* writer, bool& quit) {
    receive_send_command<pdb_bridge_answer::quit, empty_record, empty_record>(
        "CP::CmdQuit", payload, writer, [](IReadCoreStream*, empty_record&) {},
        [&](const empty_record&, empty_record&) { quit = true; }, write_nothing);
}

}  // namespace qv::profiler::pdb_server
