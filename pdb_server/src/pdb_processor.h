// The symbol engine behind one connection: search paths, loaded modules, and the queries on them.
#pragma once

#include <atomic>
#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/search_observer.h"
#include "pdb_server/src/module_data.h"
#include "pdb_server/src/search_paths.h"
#include "pdb_server/src/slave_key_atom_map.h"
#include "pdb_server/src/stop_check.h"
#include "pdb_server/src/system/platform_services.h"
#include "qv/portable_executable/readers.h"

namespace qv::profiler::pdb_server {

struct dsr_data;

// Queries may run on several threads at once, also against a concurrent unload: a query keeps its module alive. init
// and terminate belong to the connection's own thread. All failures are exceptions.
class pdb_processor {
public:
    // Loads that search for long fail once `stop` answers true.
    // `observer` is told of every search for a portable PDB.
    explicit pdb_processor(const platform_services& services = system_services(), stop_check stop = {},
                           search_observer observer = {});
    ~pdb_processor();
    pdb_processor(const pdb_processor&) = delete;
    pdb_processor& operator=(const pdb_processor&) = delete;

    // Sets the search policy (bits of search_policy) and replaces the search paths by the given ones followed by those
    // of _NT_ALT_SYMBOL_PATH and _NT_SYMBOL_PATH. Given ones that the services do not let clients look at are left out.
    void init(std::uint8_t policy, const std::vector<std::wstring>& paths);

    // Lets all modules go. Called by the destructor at the latest.
    void terminate() noexcept;

    // Loads the symbols of the module with this MVID. A relative path is looked for along the search paths. Returns a
    // fresh module id, or 0 when no such image or no symbols were found. An MVID that is loaded already gets a further
    // id for the same data and no file is opened.
    unsigned int load_module(const boost::filesystem::path& path, const GUID& mvid);

    // Lets one id go; an unknown one is no error, 0 is.
    void unload_module(unsigned int mid);

    // The queries of module_data, by module id. They fail, and look in this order, for a module id of 0, for a token
    // that is no MethodDef token or a document id of 0, and for a module id that is not loaded.
    void get_method_offsets(unsigned int mid, unsigned int token, point_values& offsets) const;
    void get_method_ranges(unsigned int mid, unsigned int token, point_values& document_ids, point_values& start_lines,
                           point_values& start_columns, point_values& end_lines, point_values& end_columns) const;
    void get_document(unsigned int mid, unsigned int did, std::wstring& url, GUID& checksum_algorithm,
                      std::vector<unsigned char>& checksum) const;
    void get_source_server_data(unsigned int mid, std::vector<unsigned char>& data) const;

    // Appends the elements of an environment variable to the search paths; an unset one changes nothing.
    void add_search_path_from_environment(const wchar_t* name);

    const search_path_list& search_paths() const noexcept { return search_paths_; }

private:
    struct registry_traits {
        using key_hash = quorvex::common::guid_hash;
        static const GUID& key(const std::shared_ptr<module_data>& value) { return value->mvid; }
        static const char* const insert_or_throw_signature;
    };

    std::shared_ptr<module_data> find_module(unsigned int mid, const throw_location& where) const;
    bool resolve_relative(const boost::filesystem::path& path, const GUID& mvid, boost::filesystem::path& resolved,
                          portable_executable::image_data& image) const;
    std::shared_ptr<module_data> load_symbols(const boost::filesystem::path& path, const GUID& mvid,
                                              const portable_executable::image_data& image) const;

    const platform_services& services_;
    const stop_check stop_;
    const search_observer observer_;
    search_path_list search_paths_;
    std::uint8_t policy_ = 0;
    std::shared_ptr<dsr_data> dsr_;
    std::atomic<std::uint32_t> module_id_counter_{0};
    slave_key_atom_map<std::uint32_t, GUID, std::shared_ptr<module_data>, registry_traits> modules_;
};

}  // namespace qv::profiler::pdb_server
