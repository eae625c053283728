#include "tests/support/conversations/conversations.h"

#include "core/packets.h"
#include "core/stream/MemoryStreams.h"
#include "qv/metadata/module_identity.h"
#include "qv/portable_executable/readers.h"
#include "tests/support/files/test_files.h"
#include "text/path.h"

namespace qv::testing {
namespace {

// The bytes that `write` puts on a stream.
template <class Write>
bytes written(Write&& write) {
    MemoryStream stream;
    write(stream);
    return stream.bytes();
}

const bytes version = {0xD0, 0x10, 0x1c, 0xe1, 0x3b, 0x7d, 0xd2, 0x9b, 0xa7,
                       0x4c, 0xa6, 0x26, 0x1c, 0x82, 0xb9, 0x39, 0x35, 0xa9};
const bytes version_accepted = {0xD1, 0x00};
const bytes options_accepted = {0xE0, 0x00};

exchange failing(unsigned char code, const bytes& arguments, const char* message) {
    return {packet(code, bytes{0x07} + arguments), error_answer(code, 0x07, message)};
}

}  // namespace

bytes operator+(bytes left, const bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

bytes packet(unsigned char code, const bytes& payload) {
    return bytes{code} + written([&](MemoryStream& s) { s.WritePacked(payload.size()); }) + payload;
}

std::vector<code_and_payload> packets_of(const bytes& data) {
    std::vector<code_and_payload> result;
    MemoryBlockStream stream(data);
    packet_reader reader(stream);
    try {
        for (bytes payload; stream.GetPosition() != data.size();) {
            const unsigned char code = reader.receive(&payload);
            result.emplace_back(code, payload);
        }
    } catch (const exception&) {
        // The last one is cut off, or no packet.
    }
    return result;
}

bytes text(const std::string& value) {
    return written([&](MemoryStream& s) { s.WriteText(value); });
}

bytes guid(const GUID& value) {
    return written([&](MemoryStream& s) { s.WriteGuid(value); });
}

bytes little_endian(std::initializer_list<std::uint32_t> values) {
    const auto* const first = reinterpret_cast<const unsigned char*>(values.begin());
    return {first, first + values.size() * sizeof(std::uint32_t)};
}

bytes load_request(unsigned char id, const boost::filesystem::path& image, const GUID& mvid) {
    const bytes path = written([&](MemoryStream& s) { s.WriteString(qv::text::to_wide(image)); });
    return packet(0x30, bytes{id} + path + guid(mvid));
}

bytes error_answer(unsigned char code, unsigned char id, const std::string& message) {
    return packet(code, bytes{id} + text(message));
}

GUID mvid_of(const boost::filesystem::path& image) {
    return metadata::read_module_identity(portable_executable::read_image_file(image).metadata).mvid;
}

bytes handshake(unsigned char policy, const std::vector<std::string>& search_paths) {
    return version + packet(0xE0, bytes{policy} + written([&](MemoryStream& s) {
                                      s.WritePacked(search_paths.size());
                                      for (const auto& path : search_paths) s.WriteText(path);
                                  }));
}

bytes handshake_answer() {
    return version_accepted + options_accepted;
}

std::vector<ending> endings() {
    const bytes shaken = handshake(), answered = handshake_answer();
    const char* const truncated = "No enought data to read";
    const char* const surplus = "Not all data were read";
    const char* const surplus_place = "pdb_server/src/command_processor:41";
    const char* const truncated_place = "core/src/Stream/MemoryBlockStream:62";
    return {
        {"OptionsBeforeVersion", packet(0xE0, bytes(2)), bytes(), "Unknown version answer",
         "pdb_server/src/command_processor:341"},
        {"ShortVersion", packet(0xD0, bytes(15)), bytes(), truncated, truncated_place},
        {"LongVersion", packet(0xD0, bytes(17)), bytes(), "Not all unload module data were read",
         "pdb_server/src/command_processor:347"},
        {"OtherVersion", packet(0xD0, bytes(16)), packet(0xD0), "Unexpect PDB server version",
         "pdb_server/src/command_processor:353"},
        {"BadPacketLength", {0xD0, 0xE0}, bytes(), "Invalid counter encoding", "core/src/stream/IReadCoreStream:115"},
        {"VersionTwice", version + version, version_accepted, "Unexpected options command"},
        {"EmptyOptions", version + packet(0xE0, {}), version_accepted, truncated},
        {"EndlessSearchPath", version + packet(0xE0, {0, 1, 0xDF, 0xFF, 0xFF, 0xFF}), version_accepted, truncated},
        {"TooManySearchPaths", version + packet(0xE0, bytes{0, 0xC0, 0x10, 0, 1} + bytes(0x100001)), version_accepted,
         "Too many search paths"},
        {"MalformedSearchPath", version + packet(0xE0, {0, 1, 1, 0xFF}), version_accepted,
         "Invalid UTF8 master symbol"},
        {"SurplusOptions", version + packet(0xE0, {0, 0, 0}), version_accepted, surplus},
        {"UnknownCommand", shaken + packet(0x32, {0x01}), answered, "Unknown command",
         "pdb_server/src/command_processor:417"},
        {"LoadWithoutMvid", shaken + packet(0x30, bytes{0x01, 0x00} + bytes(15)), answered, truncated},
        {"LoadWithSurplus", shaken + packet(0x30, bytes{0x01, 0x00} + bytes(17)), answered, surplus, surplus_place},
        {"LoadWithBadPath", shaken + packet(0x30, bytes{0x01, 0x02, 0xC3, 0x41} + bytes(16)), answered,
         "Invalid UTF8 slave symbol"},
        {"RangesWithBadMethod", shaken + packet(0x43, {0x01, 0x01, 0xE0}), answered, "Invalid counter encoding"},
        {"QuitWithoutRequestId", shaken + packet(0xFF), answered, truncated},
        {"QuitWithSurplus", shaken + packet(0xFF, {0x01, 0x01}), answered, surplus, surplus_place},
    };
}

std::vector<exchange> failing_queries() {
    return {
        failing(0x31, {0x00}, "Invalid PDB module id"),
        failing(0x42, {0x00, 0x00}, "Invalid PDB module id"),
        failing(0x42, {0x01, 0x00}, "Unknown PDB module"),
        // Faults are told in the order module id, token or document id, loaded or not.
        failing(0x42, {0x01, 0xC1, 0xFF, 0xFF, 0xFF}, "Invalid method token"),  // row 0
        failing(0x43, {0x01, 0xC1, 0x00, 0x00, 0x00}, "Invalid method token"),  // row 1 of another table
        failing(0x43, {0x00, 0xC1, 0xFF, 0xFF, 0xFF}, "Invalid PDB module id"),
        failing(0x43, {0x05, 0x81, 0x00}, "Unknown PDB module"),
        failing(0x44, {0x00}, "Invalid PDB module id"),
        failing(0x44, {0x01}, "Unknown PDB module"),
        failing(0x45, {0x00, 0x00}, "Invalid PDB module id"),
        failing(0x45, {0x01, 0x00}, "Invalid PDB document id"),
        failing(0x45, {0x01, 0x01}, "Unknown PDB module"),
        {load_request(0x08, fixture("Standalone.dll"), GUID{}),
         error_answer(0x30, 0x08, "Invalid MVID for the absolute module path is detected")},
        // Unloading what was never loaded is no failure.
        {packet(0x31, {0x09, 0x05}), packet(0x31, {0x09, 0x00})},
    };
}

std::vector<exchange> every_command() {
    // The values are those that the compiler wrote; the fixtures' sources lie beside them.
    const GUID documents = mvid_of(fixture("Documents.dll"));
    const GUID md5 = {0x406ea660, 0x64cf, 0x4c82, {0xb6, 0xf0, 0x42, 0xd4, 0x81, 0x72, 0xa7, 0x99}};
    const bytes checksum = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                            0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff};
    return {
        {load_request(1, fixture("Documents.dll"), documents), packet(0x30, {1, 0, 1})},
        {load_request(2, "no/such/module.dll", documents), packet(0x30, {2, 0, 2})},
        {load_request(3, fixture("NoSymbols.dll"), mvid_of(fixture("NoSymbols.dll"))), packet(0x30, {3, 0, 0})},
        {load_request(4, fixture("Hidden.dll"), mvid_of(fixture("Hidden.dll"))), packet(0x30, {4, 0, 3})},
        {packet(0x42, {5, 1, 0}), packet(0x42, bytes{5, 0, 3} + little_endian({0, 1, 9}))},
        {packet(0x43, {6, 2, 0}),
         packet(0x43, bytes{6, 0, 3} + little_endian({1, 1, 1}) + little_endian({4, 5, 6}) + little_endian({25, 9, 5}) +
                          little_endian({4, 5, 6}) + little_endian({26, 23, 6}))},
        {packet(0x45, {7, 1, 3}), packet(0x45, bytes{7, 0} + text("/gen/md5.txt") + bytes{16} + guid(md5) + checksum)},
        {packet(0x45, {8, 1, 7}), packet(0x45, bytes{8, 0} + text("/gen/elsewhere.txt") + bytes{0})},
        {packet(0x44, {9, 1}), packet(0x44, {9, 0, 0})},
        // Hidden points.
        {packet(0x43, {15, 3, 1}),
         packet(0x43, bytes{15, 0, 5} + little_endian({1, 1, 1, 1, 1}) +
                          little_endian({16, 0xFEEFEE, 0xFEEFEE, 200, 0xFEEFEE}) + little_endian({42, 0, 0, 9, 0}) +
                          little_endian({16, 0xFEEFEE, 0xFEEFEE, 200, 0xFEEFEE}) + little_endian({43, 0, 0, 23, 0}))},
        {load_request(16, "no/such/module.dll", GUID{1, 0, 0, {}}), packet(0x30, {16, 0, 0})},
        {packet(0x31, {12, 1}), packet(0x31, {12, 0})},
        {packet(0x42, {13, 1, 0}), error_answer(0x42, 13, "Unknown PDB module")},
        {load_request(13, "gone.dll", documents), packet(0x30, {13, 0, 4})},
        {packet(0x42, {14, 2, 0x80, 200}), error_answer(0x42, 14, "Too large table index")},
        // A request id of several bytes comes back as it was sent.
        {packet(0x31, {0xDF, 0xFF, 0xFF, 0xFF, 2}), packet(0x31, {0xDF, 0xFF, 0xFF, 0xFF, 0x00})},
    };
}

}  // namespace qv::testing
