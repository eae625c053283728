#include "tests/support/costly_files/costly_files.h"

namespace qv::test {

std::vector<costly_shape> classic_costly_shapes() {
    return {};
}

}  // namespace qv::test
