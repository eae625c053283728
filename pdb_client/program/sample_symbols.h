// A small module for the tests of both output forms: several documents, hidden points, errors, a non-ASCII name.
#pragma once

#include "pdb_client/program/module_symbols.h"

namespace qv::profiler::pdb_client {

inline module_symbols sample_symbols() {
    constexpr GUID sha1 = {0xff1816ec, 0xaa5e, 0x4d10, {0x87, 0xf7, 0x6f, 0x49, 0x63, 0x83, 0x34, 0x60}};
    module_symbols symbols{{L"C:\\app\\orders.dll",
                            {0x7d3be11c, 0x9bd2, 0x4ca7, {0xa6, 0x26, 0x1c, 0x82, 0xb9, 0x39, 0x35, 0xa9}},
                            7,
                            symbol_kind::portable,
                            {},
                            {}},
                           {},
                           {},
                           {}};
    symbols.documents = {{1, {L"/src/\u00dcberg.cs", sha1, {0xdb, 0xeb, 0x2a}}, {}},
                         {3, {L"C:\\b\x1b.cs", {}, {}}, {}},
                         {12, {}, "Too large table index"}};
    symbols.methods = {
        {0x06000001, {{0, {1, 9, 5, 9, 6}}, {1, {1, 10, 9, 12, 102}}, {300, {1, 0xFEEFEE, 0, 0xFEEFEE, 0}}}, {}},
        {0x06000002, {{0, {1, 7, 1, 7, 2}}, {0x12345, {3, 0xFEEFEE, 0, 0xFEEFEE, 0}}, {0x12346, {12, 8, 1, 8, 2}}}, {}},
        {0x06000004, {}, "End of \xe9"},
        {0x06000005, {{0, {3, 0xFEEFEE, 0, 0xFEEFEE, 0}}}, {}}};
    symbols.source_server = source_server_symbols{{'{', '"', 0xC3, 0xA9, '"', '}'}, {}};
    return symbols;
}

}  // namespace qv::profiler::pdb_client
