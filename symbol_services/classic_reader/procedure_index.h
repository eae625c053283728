// Finds the procedure of a method.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "symbol_services/classic_reader/dbi.h"
#include "symbol_services/classic_reader/global_references.h"
#include "symbol_services/classic_reader/lazy.h"
#include "symbol_services/classic_reader/module_symbols.h"
#include "symbol_services/classic_reader/token_map.h"

namespace qv::classic_reader {

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

    // By the token in the image. Throws what reading the token map throws.
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
