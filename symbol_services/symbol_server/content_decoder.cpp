#include "symbol_services/symbol_server/content_decoder.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <new>

namespace qv::symbol_store {
namespace {

constexpr int gzip_window_bits = 16 + MAX_WBITS;
constexpr std::size_t step = std::size_t{64} * 1024;

bool is_gzip(std::string_view encoding) noexcept {
    return encoding == "gzip" || encoding == "x-gzip";
}

}  // namespace

struct content_decoder::inflater {
    inflater() {
        if (inflateInit2(&stream, gzip_window_bits) != Z_OK) throw std::bad_alloc();
    }
    ~inflater() { inflateEnd(&stream); }
    inflater(const inflater&) = delete;
    inflater& operator=(const inflater&) = delete;

    bool take(const char* bytes, std::size_t size, const sink& to) {
        while (size != 0) {
            const auto count = static_cast<uInt>(std::min(size, step));
            if (!take_step(bytes, count, to)) return false;
            bytes += count;
            size -= count;
        }
        return true;
    }

    bool take_step(const char* bytes, uInt count, const sink& to) {
        stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes));  // NOLINT(*-const-cast): zlib reads only
        stream.avail_in = count;
        do {
            // One member may follow another.
            if (ended && (stream.avail_in == 0 || inflateReset(&stream) != Z_OK)) break;
            stream.next_out = output.data();
            stream.avail_out = static_cast<uInt>(output.size());
            const int result = inflate(&stream, Z_NO_FLUSH);
            if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) return false;
            ended = result == Z_STREAM_END;
            const auto written = output.size() - stream.avail_out;
            if (written != 0 && !to(reinterpret_cast<const char*>(output.data()), written)) return false;
        } while (stream.avail_in != 0 || stream.avail_out == 0);
        return true;
    }

    z_stream stream = {};
    bool ended = false;
    std::array<Bytef, step> output;
};

bool content_decoder::knows(std::string_view encoding) noexcept {
    return encoding.empty() || encoding == "identity" || is_gzip(encoding);
}

content_decoder::content_decoder(std::string_view encoding, sink to)
    : to_(std::move(to)), inflater_(is_gzip(encoding) ? std::make_unique<inflater>() : nullptr) {}

content_decoder::~content_decoder() = default;

bool content_decoder::take(const char* bytes, std::size_t size) {
    return inflater_ ? inflater_->take(bytes, size, to_) : to_(bytes, size);
}

bool content_decoder::is_whole() const noexcept {
    return !inflater_ || inflater_->ended;
}

}  // namespace qv::symbol_store
