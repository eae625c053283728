#include "qv/portable_executable/parser.h"

#include "qv/diagnostics/exception.h"

namespace qv::portable_executable {

const image_data_directories& get_data_directories(const image_optional_header& header) {
    static constexpr throw_site here{
        "const class std::array<struct _IMAGE_DATA_DIRECTORY,16> &__cdecl "
        "qv::portable_executable::get_data_directories(const struct qv::portable_executable::image_optional_header &)",
        "sharedCommon/Native/Shared/include/qv/portable_executable/parser"};
    switch (header.Magic) {
        case optional_header_32_magic: return header.header32.DataDirectory;
        case optional_header_64_magic: return header.header64.DataDirectory;
        default: throw_error(invalid_optional_header_message, here, errtag_pe_opt_hdr_signature{header.Magic});
    }
}

}  // namespace qv::portable_executable
