// The body of an HTTP answer on its way to where it is kept: as it comes, or unpacked (gzip, RFC 1952).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

namespace qv::symbol_store {

class content_decoder {
public:
    // Takes the bytes in order; false when it can take no more.
    using sink = std::function<bool(const char* bytes, std::size_t size)>;

    // Whether a Content-Encoding is one of those that are read.
    static bool knows(std::string_view encoding) noexcept;

    // `encoding` is one of those. Throws std::bad_alloc.
    content_decoder(std::string_view encoding, sink to);
    ~content_decoder();
    content_decoder(const content_decoder&) = delete;
    content_decoder& operator=(const content_decoder&) = delete;

    // False when the bytes are malformed or the sink takes no more.
    bool take(const char* bytes, std::size_t size);

    // Whether what has come is whole as far as the encoding can tell.
    bool is_whole() const noexcept;

private:
    struct inflater;

    const sink to_;
    std::unique_ptr<inflater> inflater_;  // none where the body comes as it is
};

}  // namespace qv::symbol_store
