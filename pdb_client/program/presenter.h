// Shows a module's symbols piece by piece, in the order in which they are asked for.
#pragma once

#include <cstddef>
#include <memory>

#include "pdb_client/program/module_symbols.h"
#include "pdb_client/program/options.h"
#include "pdb_client/program/output.h"

namespace qv::profiler::pdb_client {

// begin, methods one by one, documents, source_server, end; what a command has not asked for is left out.
class presenter {
public:
    presenter() = default;
    presenter(const presenter&) = delete;
    presenter& operator=(const presenter&) = delete;
    virtual ~presenter() = default;

    virtual void begin() = 0;

    // Methods follow, or none.
    virtual void begin_methods() {}

    // The documents are those of the method's points, at least.
    virtual void method(const method_symbols& symbols, const document_map& documents) = 0;

    virtual void documents(const document_map& all) = 0;
    virtual void source_server(const source_server_symbols& symbols) = 0;
    virtual void end() {}
};

// Tables for people or JSON for programs, as the command line wants it. The module and the output must outlive it.
std::unique_ptr<presenter> make_presenter(const options& wanted, const module_info& module, output& out);

}  // namespace qv::profiler::pdb_client
