// What is looked at in a cabinet before the system unpacks it (published: Microsoft Cabinet Format, "CAB File Format"):
// the cabinet APIs of some hosts follow numbers that lead nowhere.
#pragma once

#include <string>

#include "symbol_services/classic_reader/byte_source.h"

namespace qv::symbol_store {

// Why this is no whole cabinet of one file, compressed with MSZIP or LZX or not at all; an empty text where it is one.
// What the blocks hold is left to those who unpack them. Throws what the source throws.
std::wstring cabinet_fault(const classic_reader::byte_source& cabinet);

}  // namespace qv::symbol_store
