// A method that a classic PDB file describes.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "common/com/symbol_interfaces.h"
#include "symbol_services/qv_symbols/com_object.h"
#include "symbol_services/qv_symbols/symbol_file.h"

namespace qv::symbols {

// The points are read at the first question about them, so that a method whose lines are broken is still a method.
class symbol_method final : public com_object<com::ISymUnmanagedMethod> {
public:
    // By this id the methods of this library know each other.
    static constexpr GUID iid{0x6C8534D3, 0xDFEB, 0x44E4, {0xBF, 0xE1, 0xE8, 0x66, 0x66, 0x8E, 0x88, 0x39}};

    symbol_method(std::shared_ptr<const symbol_file> file, com::token token);

    // Whether a method that a client hands in is one of this file.
    static bool is_of(com::ISymUnmanagedMethod* method, const symbol_file& file);

    HRESULT STDMETHODCALLTYPE GetToken(com::token* method) override;
    HRESULT STDMETHODCALLTYPE GetSequencePointCount(ULONG32* count) override;
    // The offset of the first point of the document around this place.
    HRESULT STDMETHODCALLTYPE GetOffset(com::ISymUnmanagedDocument* document, ULONG32 line, ULONG32 column,
                                        ULONG32* offset) override;
    HRESULT STDMETHODCALLTYPE GetSourceStartEnd(com::ISymUnmanagedDocument** documents, ULONG32* lines,
                                                ULONG32* columns, BOOL* has_source) override;
    HRESULT STDMETHODCALLTYPE GetSequencePoints(ULONG32 capacity, ULONG32* count, ULONG32* offsets,
                                                com::ISymUnmanagedDocument** documents, ULONG32* lines,
                                                ULONG32* columns, ULONG32* end_lines, ULONG32* end_columns) override;

private:
    using point_list = std::vector<classic_reader::sequence_point>;

    ~symbol_method() override = default;
    void* find_interface(REFIID id) noexcept override;
    HRESULT unimplemented() const noexcept override;

    const point_list& points();

    const std::shared_ptr<const symbol_file> file_;
    const com::token token_;
    std::mutex mutex_;
    std::optional<point_list> points_;  // never changed once there
};

}  // namespace qv::symbols
