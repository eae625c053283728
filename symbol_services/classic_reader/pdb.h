// A classic PDB file of managed code, open for questions.
//
// Opening reads the stream directory, the file's identity and the list of modules. Each question reads what it needs;
// what serves all questions of a kind is made at the first one. Finding the points of one method takes the token map, a
// few bytes of the symbol hash table and the line sections of one module. Whatever a file says, a question costs no
// more than what its size is worth: time O(n log n) and memory O(n) in the bytes of the file.
//
// All questions may be asked from any number of threads at once. Every failure is one of pdb_errors.h; a method or
// document that cannot be read fails alone. A file that could not be read just now is read again by the next question.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "symbol_services/classic_reader/byte_source.h"
#include "symbol_services/classic_reader/document_table.h"
#include "symbol_services/classic_reader/module_stream.h"

namespace qv::classic_reader {

// What an image's debug record is compared with, and the stamp of the build.
struct pdb_id {
    GUID guid;
    std::uint32_t age;
    std::uint32_t signature;
};

class pdb {
public:
    // The file stays open as long as the object lives; see byte_source.h.
    static std::shared_ptr<const pdb> open(const boost::filesystem::path& path);
    // The same for the bytes of a file.
    static std::shared_ptr<const pdb> open(std::vector<unsigned char> bytes);
    static std::shared_ptr<const pdb> open(std::unique_ptr<const byte_source> source);
    ~pdb();

    const pdb_id& id() const noexcept;

    // Methods that the file describes, by their tokens in the image, ascending. Reads the symbols of all modules.
    std::vector<std::uint32_t> methods() const;

    // Whether the file describes the method.
    bool has_method(std::uint32_t token) const;

    // The sequence points in ascending order of IL offset; none for a method that is not described or has no lines.
    std::vector<sequence_point> points(std::uint32_t token) const;

    std::uint32_t document_count() const;
    // `index` is less than document_count(). A URL that is not UTF-8 throws.
    std::wstring document_url(std::uint32_t index) const;
    document get_document(std::uint32_t index) const;
    std::vector<unsigned char> embedded_source(std::uint32_t index) const;
    // By the name as it is; failing that, one that differs in letter case and slashes only.
    std::optional<std::uint32_t> find_document(const std::wstring& url) const;

    // Methods with lines of the document around this line, those with the fewest lines there first. Reads all lines.
    std::vector<std::uint32_t> methods_at(std::uint32_t document, std::uint32_t line) const;

    // The first line of the document, from this one on, where a sequence point begins. Reads all lines.
    std::optional<std::uint32_t> closest_line(std::uint32_t document, std::uint32_t line) const;

    // How to get the sources: the "srcsrv" stream; without one the Source Link document, see source_link.h; empty
    // without either.
    std::vector<unsigned char> source_server_data() const;

private:
    class implementation;
    explicit pdb(std::unique_ptr<const implementation> content);

    std::unique_ptr<const implementation> content_;
};

}  // namespace qv::classic_reader
