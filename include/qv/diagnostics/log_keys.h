// The keys and results that several kinds of log records share. Readers of the log know them by these names.
#pragma once

namespace qv::log::key {

constexpr const char* result = "res";
constexpr const char* count = "c";
constexpr const char* context = "context";
constexpr const char* name = "name";
constexpr const char* mvid = "mvid";
constexpr const char* module_id = "pdbmid";
constexpr const char* document_id = "pdbdid";
constexpr const char* token = "token";
constexpr const char* path = "path";

}  // namespace qv::log::key
