// The records of a PE image as they lie in the file (PE/COFF specification and ECMA-335 II.25). All integers are
// little-endian; every record is read byte for byte.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <vector>

namespace qv::portable_executable {

static_assert(std::endian::native == std::endian::little, "records are read as they lie in the file");

constexpr std::uint16_t dos_signature = 0x5A4D;           // "MZ"
constexpr std::uint16_t os2_signature = 0x454E;           // "NE"
constexpr std::uint16_t vxd_signature = 0x454C;           // "LE"
constexpr std::uint32_t nt_signature = 0x00004550;        // "PE" and two zero bytes
constexpr std::uint32_t metadata_signature = 0x424A5342;  // "BSJB"

constexpr std::uint16_t optional_header_32_magic = 0x10B;
constexpr std::uint16_t optional_header_64_magic = 0x20B;
constexpr std::uint16_t optional_header_rom_magic = 0x107;

struct IMAGE_DOS_HEADER {
    std::uint16_t e_magic;
    std::uint16_t unused[29];
    std::int32_t e_lfanew;  // file offset of the NT signature
};
static_assert(sizeof(IMAGE_DOS_HEADER) == 64);

struct IMAGE_VXD_HEADER {
    std::uint16_t e32_magic;
    unsigned char unused[194];
};
static_assert(sizeof(IMAGE_VXD_HEADER) == 196);

// What a file may begin with; the signature tells which.
union image_header {
    std::uint16_t signature;
    IMAGE_DOS_HEADER dos;
    IMAGE_VXD_HEADER vxd;
};

struct IMAGE_FILE_HEADER {
    std::uint16_t Machine;
    std::uint16_t NumberOfSections;
    std::uint32_t TimeDateStamp;
    std::uint32_t PointerToSymbolTable;
    std::uint32_t NumberOfSymbols;
    std::uint16_t SizeOfOptionalHeader;
    std::uint16_t Characteristics;
};
static_assert(sizeof(IMAGE_FILE_HEADER) == 20);

struct IMAGE_DATA_DIRECTORY {
    std::uint32_t VirtualAddress;
    std::uint32_t Size;
};

constexpr unsigned standard_directories = 16;
constexpr unsigned debug_directory = 6;
constexpr unsigned com_directory = 14;

using image_data_directories = std::array<IMAGE_DATA_DIRECTORY, standard_directories>;

struct IMAGE_OPTIONAL_HEADER32 {
    std::uint16_t Magic;
    std::uint16_t unused[45];  // linker version to LoaderFlags
    std::uint32_t NumberOfRvaAndSizes;
    image_data_directories DataDirectory;
};
static_assert(sizeof(IMAGE_OPTIONAL_HEADER32) == 224);

struct IMAGE_OPTIONAL_HEADER64 {
    std::uint16_t Magic;
    std::uint16_t unused[53];  // linker version to LoaderFlags
    std::uint32_t NumberOfRvaAndSizes;
    image_data_directories DataDirectory;
};
static_assert(sizeof(IMAGE_OPTIONAL_HEADER64) == 240);

struct IMAGE_ROM_OPTIONAL_HEADER {
    std::uint16_t Magic;
    std::uint16_t unused[27];
};
static_assert(sizeof(IMAGE_ROM_OPTIONAL_HEADER) == 56);

struct image_optional_header {
    union {
        std::uint16_t Magic;
        IMAGE_OPTIONAL_HEADER32 header32;
        IMAGE_OPTIONAL_HEADER64 header64;
        IMAGE_ROM_OPTIONAL_HEADER rom;
    };
    std::vector<IMAGE_DATA_DIRECTORY> further_directories;  // those after the standard ones
};

struct IMAGE_SECTION_HEADER {
    std::uint8_t Name[8];
    std::uint32_t VirtualSize;
    std::uint32_t VirtualAddress;
    std::uint32_t SizeOfRawData;
    std::uint32_t PointerToRawData;
    std::uint32_t PointerToRelocations;
    std::uint32_t PointerToLinenumbers;
    std::uint16_t NumberOfRelocations;
    std::uint16_t NumberOfLinenumbers;
    std::uint32_t Characteristics;
};
static_assert(sizeof(IMAGE_SECTION_HEADER) == 40);

// The CLI header, version 2.0.
struct IMAGE_COR20_HEADER {
    std::uint32_t cb;  // size of this header
    std::uint16_t MajorRuntimeVersion;
    std::uint16_t MinorRuntimeVersion;
    IMAGE_DATA_DIRECTORY MetaData;
    std::uint32_t unused[14];  // flags to the managed native header
};
static_assert(sizeof(IMAGE_COR20_HEADER) == 72);

struct IMAGE_DEBUG_DIRECTORY {
    std::uint32_t Characteristics;
    std::uint32_t TimeDateStamp;
    std::uint16_t MajorVersion;
    std::uint16_t MinorVersion;
    std::uint32_t Type;
    std::uint32_t SizeOfData;
    std::uint32_t AddressOfRawData;
    std::uint32_t PointerToRawData;
};
static_assert(sizeof(IMAGE_DEBUG_DIRECTORY) == 28);

}  // namespace qv::portable_executable
