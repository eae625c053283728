#include "tests/support/costly_files/costly_files.h"

namespace qv::test {

GUID costly_mvid(const std::string& name) {
    std::uint32_t sum = 0;
    for (const char character : name) sum = sum * 31 + static_cast<unsigned char>(character);
    return {sum, 0x0057, 0x4711, {0x80, 1, 2, 3, 4, 5, 6, 7}};
}

std::string costly_pdb_name(const std::string& name) {
    return name + ".pdb";
}

}  // namespace qv::test
