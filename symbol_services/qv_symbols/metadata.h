// The metadata of images, as far as a consumer of symbols asks about it.
#pragma once

#include <boost/filesystem/path.hpp>
#include <string>
#include <vector>

#include "common/com/metadata_import.h"
#include "common/com/runtime_interfaces.h"
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

// The metadata of one image. Immutable.
class metadata_scope final : public com_object<com::IMetaDataImport> {
public:
    // By this id the binder knows the scopes of this library.
    static constexpr GUID iid{0x6D4EE187, 0x3692, 0x4DE9, {0xBD, 0x7A, 0x3F, 0xF5, 0xC1, 0x5C, 0xC8, 0xFD}};

    explicit metadata_scope(image_facts facts);

    // The scope that a client hands in; empty for one of another library.
    static com_hld<metadata_scope> find(IUnknown* scope);

    const image_facts& facts() const noexcept { return facts_; }

    HRESULT STDMETHODCALLTYPE GetScopeProps(WCHAR* name, ULONG capacity, ULONG* count, GUID* mvid) override;

private:
    ~metadata_scope() override = default;
    void* find_interface(REFIID id) noexcept override;

    const image_facts facts_;
};

// Opens the metadata of images for reading.
class metadata_dispenser final : public com_object<com::IMetaDataDispenser> {
public:
    metadata_dispenser() = default;

    HRESULT STDMETHODCALLTYPE OpenScope(const WCHAR* file, DWORD flags, REFIID interface_id, IUnknown** scope) override;

private:
    ~metadata_dispenser() override = default;
};

}  // namespace qv::symbols
