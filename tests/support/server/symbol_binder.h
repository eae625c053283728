// Whether classic PDBs can be read here. Windows only.
#pragma once

namespace qv::testing {

// Initialises COM for the calling thread and creates the symbol binder. False where none is registered; programs that
// rest on it are skipped then.
bool has_symbol_binder();

}  // namespace qv::testing
