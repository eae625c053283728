// The names of an image's methods, from its metadata.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qv::profiler::pdb_client {

// Copies share what has been read.
class method_names {
public:
    // Of an image without methods.
    method_names() = default;

    // From a metadata block. Nothing is thrown for one that is broken: it has no names, or some methods have none.
    explicit method_names(std::vector<unsigned char> metadata);

    // "Shop.Orders+Line`1.Add(2)": namespace, type, method and the number of parameters, all as the metadata writes
    // them and whatever bytes these are; a nested type stands behind its outer one and "+". Empty when there is no
    // name.
    std::string name_of(std::uint32_t token) const;

    // The tokens of the methods that are meant by this UTF-8 text, in order: those whose name it is, else those whose
    // name ends with it where a part of the name begins, else those whose name contains it. The number of parameters
    // counts where the text has one. "+" may be written as ".".
    std::vector<std::uint32_t> find(std::string_view text) const;

private:
    struct tables;

    std::shared_ptr<const tables> tables_;
};

}  // namespace qv::profiler::pdb_client
