#include "symbol_services/qv_symbols/symbol_method.h"

#include <algorithm>
#include <tuple>
#include <unordered_map>

#include "symbol_services/qv_symbols/outputs.h"
#include "symbol_services/qv_symbols/symbol_document.h"

namespace qv::symbols {
namespace {

using classic_reader::sequence_point;

bool begins_before(const sequence_point& left, const sequence_point& right) {
    return std::tie(left.start_line, left.start_column) < std::tie(right.start_line, right.start_column);
}

bool ends_before(const sequence_point& left, const sequence_point& right) {
    return std::tie(left.end_line, left.end_column) < std::tie(right.end_line, right.end_column);
}

// A column of 0 stands for the whole line, on either side.
bool is_around(const sequence_point& point, ULONG32 line, ULONG32 column) {
    if (point.hidden() || line < point.start_line || line > point.end_line) return false;
    if (column == 0 || point.start_column == 0) return true;
    return !(line == point.start_line && column < point.start_column) &&
           !(line == point.end_line && column > point.end_column);
}

// One object for each document, made when it is first met.
class document_objects {
public:
    explicit document_objects(const std::shared_ptr<const symbol_file>& file) : file_(file) {}

    const com_hld<symbol_document>& get(std::uint32_t index) {
        auto& document = documents_[index];
        if (!document) document = make_object<symbol_document>(file_, index);
        return document;
    }

private:
    const std::shared_ptr<const symbol_file>& file_;
    std::unordered_map<std::uint32_t, com_hld<symbol_document>> documents_;
};

void give_field(const std::vector<sequence_point>& points, std::size_t size, std::uint32_t sequence_point::*field,
                ULONG32* buffer) {
    if (buffer == nullptr) return;
    for (std::size_t i = 0; i < size; ++i) buffer[i] = points[i].*field;
}

}  // namespace

symbol_method::symbol_method(std::shared_ptr<const symbol_file> file, com::token token)
    : file_(std::move(file)), token_(token) {}

void* symbol_method::find_interface(REFIID id) noexcept {
    return IsEqualGUID(id, iid) ? this : com_object::find_interface(id);
}

bool symbol_method::is_of(com::ISymUnmanagedMethod* method, const symbol_file& file) {
    com_hld<symbol_method> own;
    return method != nullptr && SUCCEEDED(method->QueryInterface(com::iid_of<symbol_method>, own.put_void())) &&
           own->file_.get() == &file;
}

HRESULT symbol_method::unimplemented() const noexcept {
    return file_->is_destroyed() ? com::e_sym_destroyed : E_NOTIMPL;
}

const symbol_method::point_list& symbol_method::points() {
    const auto file = file_->get();
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!points_) points_ = file->points(token_);
    return *points_;
}

HRESULT symbol_method::GetToken(com::token* method) {
    com::clear_outputs(method);
    if (file_->is_destroyed()) return com::e_sym_destroyed;
    if (method == nullptr) return E_POINTER;
    *method = token_;
    return S_OK;
}

HRESULT symbol_method::GetSequencePointCount(ULONG32* count) {
    com::clear_outputs(count);
    return guard([&] {
        const auto& all = points();
        if (count == nullptr) return E_POINTER;
        if (all.size() > std::numeric_limits<ULONG32>::max()) return E_OUTOFMEMORY;
        *count = static_cast<ULONG32>(all.size());
        return S_OK;
    });
}

HRESULT symbol_method::GetOffset(com::ISymUnmanagedDocument* document, ULONG32 line, ULONG32 column, ULONG32* offset) {
    com::clear_outputs(offset);
    return guard([&] {
        const auto& all = points();
        if (offset == nullptr) return E_POINTER;
        const auto index = symbol_document::index_of(document, *file_);
        if (!index) return E_INVALIDARG;
        const auto found = std::find_if(all.begin(), all.end(), [&](const sequence_point& point) {
            return point.document == *index && is_around(point, line, column);
        });
        if (found == all.end()) return E_FAIL;
        *offset = found->il_offset;
        return S_OK;
    });
}

HRESULT symbol_method::GetSourceStartEnd(com::ISymUnmanagedDocument** documents, ULONG32* lines, ULONG32* columns,
                                         BOOL* has_source) {
    com::clear_outputs(com::output_array(documents, 2), com::output_array(lines, 2), com::output_array(columns, 2),
                       has_source);
    return guard([&] {
        point_list visible;
        std::copy_if(points().begin(), points().end(), std::back_inserter(visible),
                     [](const sequence_point& point) { return !point.hidden(); });
        if (has_source == nullptr) return E_POINTER;
        *has_source = visible.empty() ? FALSE : TRUE;
        if (visible.empty()) return S_OK;
        const auto first = std::min_element(visible.begin(), visible.end(), begins_before);
        const auto last = std::max_element(visible.begin(), visible.end(), ends_before);
        if (documents != nullptr) {
            auto begin = make_object<symbol_document>(file_, first->document);
            auto end = make_object<symbol_document>(file_, last->document);
            documents[0] = begin.release();
            documents[1] = end.release();
        }
        if (lines != nullptr) lines[0] = first->start_line, lines[1] = last->end_line;
        if (columns != nullptr) columns[0] = first->start_column, columns[1] = last->end_column;
        return S_OK;
    });
}

HRESULT symbol_method::GetSequencePoints(ULONG32 capacity, ULONG32* count, ULONG32* offsets,
                                         com::ISymUnmanagedDocument** documents, ULONG32* lines, ULONG32* columns,
                                         ULONG32* end_lines, ULONG32* end_columns) {
    com::clear_outputs(count, com::output_array(documents, capacity));
    return guard([&] {
        const auto& all = points();
        const std::size_t size = std::min<std::size_t>(all.size(), capacity);
        if (count == nullptr) return E_POINTER;
        if (documents != nullptr) {
            document_objects objects(file_);
            // All of them are made before the first one is given.
            for (std::size_t i = 0; i < size; ++i) objects.get(all[i].document);
            for (std::size_t i = 0; i < size; ++i) {
                com_hld<symbol_document> document = objects.get(all[i].document);
                documents[i] = document.release();
            }
        }
        give_field(all, size, &sequence_point::il_offset, offsets);
        give_field(all, size, &sequence_point::start_line, lines);
        give_field(all, size, &sequence_point::start_column, columns);
        give_field(all, size, &sequence_point::end_line, end_lines);
        give_field(all, size, &sequence_point::end_column, end_columns);
        *count = static_cast<ULONG32>(size);
        return S_OK;
    });
}

}  // namespace qv::symbols
