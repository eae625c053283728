// A small cabinet (published: Microsoft Cabinet Format), for those who check cabinets before they unpack them.
#pragma once

#include <string>

#include "tests/support/builders/bytes.h"

namespace qv::test {

// One file of 40 bytes in two blocks that are not compressed; with reserved areas of 3, 0 and 2 bytes.
inline bytes stored_cabinet() {
    byte_writer out;
    out.text("MSCF").u32(0).u32(141).u32(0).u32(51).u32(0).u8(3).u8(1).u16(1).u16(1).u16(4).u16(0).u16(0);
    out.u16(3).u8(0).u8(2).text("abc");
    out.u32(73).u16(2).u16(0);
    out.u32(40).u32(0).u16(0).u16(0).u16(0).u16(0x20).text("a.pdb").u8(0);
    for (int i = 0; i < 2; ++i) out.u32(0).u16(24).u16(24).text("rr").text(std::string(24, 'x'));
    return out.data();
}

}  // namespace qv::test
