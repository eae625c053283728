#include "symbol_services/qv_symbols/symbol_binder.h"

#include <array>
#include <vector>

#include "symbol_services/classic_reader/locate.h"
#include "symbol_services/qv_symbols/metadata.h"
#include "symbol_services/qv_symbols/outputs.h"
#include "symbol_services/qv_symbols/symbol_reader.h"
#include "symbol_services/qv_symbols/symbol_server.h"
#include "text/path.h"

namespace qv::symbols {
namespace {

constexpr std::size_t stream_step = 1u << 16;
constexpr std::size_t largest_stream = 1u << 31;

// Search paths may hold many elements.
constexpr std::size_t longest_search_path = 1u << 20;

bool take_search_path(const WCHAR* text, std::wstring& taken) {
    if (text == nullptr) return true;
    const std::size_t length = wcsnlen(text, longest_search_path + 1);
    if (length > longest_search_path) return false;
    taken.assign(text, length);
    return true;
}

std::vector<classic_reader::codeview_record> records_of(IUnknown* importer, const boost::filesystem::path& image) {
    const auto scope = metadata_scope::find(importer);
    return scope && scope->facts().path == image ? scope->facts().records : read_image_facts(image).records;
}

// The stream's bytes from where it stands to its end; an HRESULT where it fails or is too large.
HRESULT read_stream(IStream& stream, std::vector<unsigned char>& bytes) {
    std::array<unsigned char, stream_step> block;
    for (;;) {
        ULONG size = 0;
        const HRESULT result = stream.Read(block.data(), static_cast<ULONG>(block.size()), &size);
        if (FAILED(result)) return result;
        if (size == 0) return S_OK;
        if (size > block.size()) return E_UNEXPECTED;
        if (bytes.size() + size > largest_stream) return E_OUTOFMEMORY;
        bytes.insert(bytes.end(), block.begin(), block.begin() + size);
    }
}

}  // namespace

void* symbol_binder::find_interface(REFIID id) noexcept {
    const bool is_older = IsEqualGUID(id, com::iid_of<com::ISymUnmanagedBinder>);
    return com_object::find_interface(is_older ? com::iid_of<com::ISymUnmanagedBinder2> : id);
}

HRESULT symbol_binder::GetReaderForFile(IUnknown* importer, const WCHAR* file, const WCHAR* search_path,
                                        com::ISymUnmanagedReader** reader) {
    return GetReaderForFile2(importer, file, search_path, policy_reference_path, reader);
}

HRESULT symbol_binder::GetReaderFromStream(IUnknown* importer, IStream* stream, com::ISymUnmanagedReader** reader) {
    return guard([&] {
        if (reader == nullptr) return E_POINTER;
        *reader = nullptr;
        if (importer == nullptr || stream == nullptr) return E_INVALIDARG;
        std::vector<unsigned char> bytes;
        if (const HRESULT result = read_stream(*stream, bytes); FAILED(result)) return result;
        *reader = make_object<symbol_reader>(classic_reader::pdb::open(std::move(bytes)), std::wstring()).release();
        return S_OK;
    });
}

HRESULT symbol_binder::GetReaderForFile2(IUnknown* importer, const WCHAR* file, const WCHAR* search_path,
                                         ULONG32 policy, com::ISymUnmanagedReader** reader) {
    return guard([&] {
        if (reader == nullptr) return E_POINTER;
        *reader = nullptr;
        std::wstring name;
        classic_reader::pdb_search search;
        if (importer == nullptr || !take_text(file, name) || name.empty() ||
            !take_search_path(search_path, search.search_path))
            return E_INVALIDARG;
        search.image = text::to_path(name);
        search.records = records_of(importer, search.image);
        search.policy = policy;
        search.server = &find_on_server;
        auto found = classic_reader::locate_pdb(search);
        *reader = make_object<symbol_reader>(std::move(found.file), text::to_wide(found.path)).release();
        return S_OK;
    });
}

}  // namespace qv::symbols
