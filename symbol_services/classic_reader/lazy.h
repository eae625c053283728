// A value that is made when it is first asked for, once for all threads.
#pragma once

#include <mutex>
#include <optional>

#include "qv/diagnostics/exception.h"

namespace qv::classic_reader {

// A failure of the reader is kept as well: asking again does not try again.
template <class T>
class lazy {
public:
    template <class Make>
    const T& get(Make&& make) const {
        std::call_once(made_, [&] {
            try {
                value_.emplace(make());
            } catch (const hresult_exception& error) {
                failure_.emplace(error);
            }
        });
        if (failure_) throw hresult_exception(*failure_);
        return *value_;
    }

private:
    mutable std::once_flag made_;
    mutable std::optional<T> value_;
    mutable std::optional<hresult_exception> failure_;
};

}  // namespace qv::classic_reader
