// Finds the procedure of a method.
//
// The token map: which method of the image a method of the PDB file became.
//
// Compilers that emit symbols before they sort the metadata leave 4 bytes for each MethodDef row of the PDB file: the
// row in the image, 0 for a method that was dropped. Without the stream both numbers are the same.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "symbol_services/classic_reader/dbi.h"
#include "symbol_services/classic_reader/global_references.h"
#include "symbol_services/classic_reader/lazy.h"
#include "symbol_services/classic_reader/module_stream.h"

namespace qv::classic_reader {

// Immutable. Tokens are MethodDef tokens.
class token_map {
public:
    // Tokens stay as they are.
    token_map() = default;
    // A last row that is cut off is left out.
    explicit token_map(std::span<const unsigned char> stream);

    // 0 when the method is not in the image.
    std::uint32_t to_image(std::uint32_t pdb_token) const noexcept;

    // The tokens that become the given one, in their order, as many as are asked for at most.
    std::vector<std::uint32_t> to_pdb(std::uint32_t image_token, std::size_t most) const;

private:
    bool identity_ = true;
    std::vector<std::uint32_t> image_rows_;    // by row of the PDB file
    std::vector<std::uint64_t> by_image_row_;  // image row, then row of the PDB file; ascending
};

constexpr std::uint32_t method_def_token = 0x06000000;

// Whether the token names a row of the MethodDef table.
constexpr bool is_method_def(std::uint32_t token) noexcept {
    return (token & 0xFF000000) == method_def_token && (token & 0x00FFFFFF) != 0;
}

struct found_procedure {
    std::uint32_t module;  // index into the module list
    code_address address;
};

// The symbol hash table answers where it can; what it does not know, or knows wrongly, is answered by an index of the
// symbols of all modules, which is made when first needed. Container and module list outlive the object.
class procedure_index {
public:
    procedure_index(const msf_file& file, const dbi_info& dbi) : file_(file), dbi_(dbi) {}

    struct indexed_procedure {
        std::uint32_t token;  // in the image
        found_procedure procedure;
    };

    // By the token in the image.
    std::optional<found_procedure> find(std::uint32_t token) const;

    // Of every token one, ascending: the one that find() gives.
    const std::vector<indexed_procedure>& all() const;

private:
    const token_map& map() const;
    const std::optional<global_references>& references() const;
    std::vector<indexed_procedure> make_index() const;
    void keep_one_of_each_token(std::vector<indexed_procedure>& procedures) const;
    std::optional<found_procedure> find_referenced(std::uint32_t token, std::uint64_t& allowance) const;

    const msf_file& file_;
    const dbi_info& dbi_;
    lazy<token_map> map_;
    lazy<std::optional<global_references>> references_;
    lazy<std::vector<indexed_procedure>> index_;
};

}  // namespace qv::classic_reader
