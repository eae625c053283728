#include "pdb_server/src/dsr/method_points.h"

#include <algorithm>
#include <optional>

#include "qv/diagnostics/exception.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr const char* source = "pdb_server/src/pdb_processor_dsr";

// A point stands on an IL instruction, and no compiler gets through a method of this size: a count above it is none.
constexpr ULONG32 most_points = 1u << 20;
constexpr HRESULT invalid_data = static_cast<HRESULT>(0x8007000D);

// The one text serves the count and the points.
void check_points(HRESULT result, const char* function) {
    if (FAILED(result)) throw_hresult_error("Can't get sequence point count", result, function, source, __LINE__);
}

// Any failure means that the reader has nothing on the method.
std::optional<com_hld<com::ISymUnmanagedMethod>> find_method(const com_hld<com::ISymUnmanagedReader>& reader,
                                                             std::uint32_t token) {
    com_hld<com::ISymUnmanagedMethod> method;
    if (FAILED(reader->GetMethod(token, method.put()))) return {};
    return method;
}

ULONG32 read_count(const com_hld<com::ISymUnmanagedMethod>& method) {
    static constexpr const char* function =
        "unsigned long __cdecl qv::profiler::pdb_server::`anonymous-namespace'::read_count(const class "
        "qv::com_hld<struct qv::com::ISymUnmanagedMethod> &)";
    ULONG32 count = 0;
    check_points(method->GetSequencePointCount(&count), function);
    if (count > most_points) check_points(invalid_data, function);
    return count;
}

// The reader's count may have changed meanwhile: only what was asked for and given counts.
template <class... Vectors>
void shorten(ULONG32 given, Vectors&... vectors) {
    (vectors.resize(std::min<std::size_t>(given, vectors.size())), ...);
}

}  // namespace

std::vector<ULONG32> read_point_offsets(const com_hld<com::ISymUnmanagedReader>& reader, std::uint32_t token) {
    const auto method = find_method(reader, token);
    if (!method) return {};
    std::vector<ULONG32> offsets(read_count(*method));
    if (offsets.empty()) return offsets;
    ULONG32 given = 0;
    check_points((*method)->GetSequencePoints(static_cast<ULONG32>(offsets.size()), &given, offsets.data(), nullptr,
                                              nullptr, nullptr, nullptr, nullptr),
                 "class std::vector<unsigned int,class std::allocator<unsigned int> > __cdecl "
                 "qv::profiler::pdb_server::read_point_offsets(const class qv::com_hld<struct "
                 "qv::com::ISymUnmanagedReader> &,unsigned int)");
    shorten(given, offsets);
    return offsets;
}

method_points read_points(const com_hld<com::ISymUnmanagedReader>& reader, std::uint32_t token) {
    const auto method = find_method(reader, token);
    method_points points;
    const ULONG32 count = method ? read_count(*method) : 0;
    if (count == 0) return points;
    std::vector<com::ISymUnmanagedDocument*> documents(count);
    points.documents.reserve(count);
    for (auto* field :
         {&points.offsets, &points.start_lines, &points.start_columns, &points.end_lines, &points.end_columns})
        field->resize(count);
    ULONG32 given = 0;
    const HRESULT result =
        (*method)->GetSequencePoints(count, &given, points.offsets.data(), documents.data(), points.start_lines.data(),
                                     points.start_columns.data(), points.end_lines.data(), points.end_columns.data());
    // Every document that the reader put there is owned before anything is asked: also those of a call that failed in
    // the middle, and those beyond the count.
    for (auto* document : documents) points.documents.emplace_back(document);
    check_points(result,
                 "struct qv::profiler::pdb_server::method_points __cdecl qv::profiler::pdb_server::read_points(const "
                 "class qv::com_hld<struct qv::com::ISymUnmanagedReader> &,unsigned int)");
    shorten(given, points.offsets, points.documents, points.start_lines, points.start_columns, points.end_lines,
            points.end_columns);
    return points;
}

}  // namespace qv::profiler::pdb_server
