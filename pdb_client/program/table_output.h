// Shows symbols as aligned text for people: UTF-8, at most 100 columns wherever names allow it, safe for a terminal.
// Answers that are errors are left out.
#pragma once

#include "pdb_client/program/presenter.h"

namespace qv::profiler::pdb_client {

class table_presenter final : public presenter {
public:
    table_presenter(command what, const module_info& module, output& out) : what_(what), module_(module), out_(out) {}

    void begin() override;
    void method(const method_symbols& symbols, const document_map& documents) override;
    void documents(const document_map& all) override;
    void source_server(const source_server_symbols& symbols) override;
    void end() override;

private:
    bool is_dump() const noexcept { return what_ == command::dump; }
    std::string document_text(const document_symbols& entry, std::size_t indent) const;

    command what_;
    const module_info& module_;
    output& out_;
    std::size_t methods_ = 0;
    std::size_t points_ = 0;
    std::size_t documents_ = 0;
    std::size_t source_server_bytes_ = 0;
};

// The checksum by which the source file is known, such as "SHA-1 da39a3...".
std::string checksum_text(const document& content);

// "[2]"
std::string bracketed(std::uint32_t document_id);

// One line for each point, with its document where they have several.
std::string points_text(const std::vector<sequence_point>& points, const document_map& documents);

// "0x06000004  Shop.Orders.Add(2)", or the token alone where the name is not known.
std::string method_title(std::uint32_t token, const method_names& names);

}  // namespace qv::profiler::pdb_client
