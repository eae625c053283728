// The metadata of one image, as far as a consumer of symbols asks about it.
#pragma once

#include <boost/filesystem/path.hpp>
#include <string>
#include <vector>

#include "qv/com/metadata_import.h"
#include "symbol_services/classic_reader/locate.h"
#include "symbol_services/qv_symbols/com_object.h"

namespace qv::symbols {

struct image_facts {
    boost::filesystem::path path;
    std::wstring module_name;
    GUID mvid;
    std::vector<classic_reader::codeview_record> records;  // those that name PDB files, in directory order
};

// Reads an image and closes it. Throws what opening the file and the image and metadata readers throw.
image_facts read_image_facts(const boost::filesystem::path& path);

// Immutable.
class metadata_scope final : public com_object<com::IMetaDataImport> {
public:
    explicit metadata_scope(image_facts facts);

    // What a scope that a client hands in knows; null for a scope of another library. Valid as long as the scope.
    static const image_facts* facts_of(IUnknown* scope);

    HRESULT STDMETHODCALLTYPE GetScopeProps(WCHAR* name, ULONG capacity, ULONG* count, GUID* mvid) override;

private:
    ~metadata_scope() override = default;
    void* find_interface(REFIID id) noexcept override;

    const image_facts facts_;
};

}  // namespace qv::symbols

// By this id the binder knows the scopes of this library.
template <>
struct qv::com::interface_id<qv::symbols::metadata_scope> {
    static constexpr GUID value{0x6D4EE187, 0x3692, 0x4DE9, {0xBD, 0x7A, 0x3F, 0xF5, 0xC1, 0x5C, 0xC8, 0xFD}};
};
