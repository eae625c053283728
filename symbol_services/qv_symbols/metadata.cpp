#include "symbol_services/qv_symbols/metadata.h"

#include "common/com/outputs.h"
#include "qv/metadata/metadata.h"
#include "qv/portable_executable/readers.h"
#include "symbol_services/qv_symbols/outputs.h"
#include "text/path.h"
#include "text/utf.h"

namespace qv::symbols {
namespace {

constexpr DWORD open_for_writing = 1;

}  // namespace

image_facts read_image_facts(const boost::filesystem::path& path) {
    using namespace metadata::detail_metadata;
    const auto image = portable_executable::read_image_file(path);
    const metadata_parser parser(image.metadata.size(), image.metadata.data());
    const accessor rows(parser);
    image_facts facts{path, {}, {}, {}};
    const std::string_view name = parser.get_stream_data(rows.get_field_value<md_Module, fld_Name>(1));
    facts.module_name = text::to_utf16(std::string(name));
    facts.mvid = parser.get_stream_data(rows.get_field_value<md_Module, fld_Mvid>(1), false);
    for (const auto& entry : image.debug_entries)
        if (entry.Type == portable_executable::debug_type_codeview)
            if (auto record = classic_reader::parse_codeview(entry.data)) facts.records.push_back(std::move(*record));
    return facts;
}

metadata_scope::metadata_scope(image_facts facts) : facts_(std::move(facts)) {}

com_hld<metadata_scope> metadata_scope::find(IUnknown* scope) {
    com_hld<metadata_scope> own;
    if (FAILED(scope->QueryInterface(com::iid_of<metadata_scope>, own.put_void()))) return {};
    return own;
}

void* metadata_scope::find_interface(REFIID id) noexcept {
    return IsEqualGUID(id, iid) ? this : com_object::find_interface(id);
}

HRESULT metadata_scope::GetScopeProps(WCHAR* name, ULONG capacity, ULONG* count, GUID* mvid) {
    com::clear_outputs(com::output_text(name, capacity), count, mvid);
    return guard([&] {
        if (name == nullptr && count == nullptr && mvid == nullptr) return E_POINTER;
        if (mvid != nullptr) *mvid = facts_.mvid;
        if (name == nullptr && count == nullptr) return S_OK;
        ULONG32 size = 0;
        const HRESULT result = give_text(facts_.module_name, capacity, &size, name);
        if (count != nullptr) *count = size;
        return result;
    });
}

HRESULT metadata_dispenser::OpenScope(const WCHAR* file, DWORD flags, REFIID interface_id, IUnknown** scope) {
    return guard([&] {
        if (scope == nullptr) return E_POINTER;
        *scope = nullptr;
        std::wstring name;
        if (!take_text(file, name) || name.empty()) return E_INVALIDARG;
        if ((flags & open_for_writing) != 0) return E_NOTIMPL;
        const auto object = make_object<metadata_scope>(read_image_facts(text::to_path(name)));
        return object->QueryInterface(interface_id, reinterpret_cast<void**>(scope));
    });
}

}  // namespace qv::symbols
