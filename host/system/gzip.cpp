#include "host/system/gzip.hpp"

#include "host/system/error.hpp"

#include <algorithm>
#include <limits>
#include <memory>
#include <zlib.h>

namespace saddlefit::host {

namespace {

constexpr std::size_t chunkSize = std::size_t{1} << 20;
constexpr std::size_t mostBytes = std::size_t{1} << 31;
constexpr int gzipOnly = 16 + MAX_WBITS;

struct EndInflate {
    void operator()(z_stream *stream) const { inflateEnd(stream); }
};

[[noreturn]] void failDamaged(const std::string &path) {
    throw Error("the packed file is damaged or cut off; get it anew").at({path});
}

// zlib counts what it is given in fewer bits than a file may have bytes.
void feed(z_stream &stream, std::string_view &rest) {
    if (stream.avail_in > 0) return;
    const auto count = std::min<std::size_t>(rest.size(), std::numeric_limits<uInt>::max());
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(rest.data()));
    stream.avail_in = static_cast<uInt>(count);
    rest.remove_prefix(count);
}

} // namespace

bool isPacked(std::string_view bytes) {
    return bytes.starts_with("\x1f\x8b");
}

std::string unpacked(std::string_view bytes, const std::string &path) {
    z_stream stream{};
    if (inflateInit2(&stream, gzipOnly) != Z_OK) throw std::bad_alloc();
    const std::unique_ptr<z_stream, EndInflate> end(&stream);
    std::string text, chunk(chunkSize, '\0');
    int state = Z_OK;
    for (feed(stream, bytes); state != Z_STREAM_END || stream.avail_in > 0; feed(stream, bytes)) {
        if (state == Z_STREAM_END) inflateReset(&stream);
        stream.next_out = reinterpret_cast<Bytef *>(chunk.data());
        stream.avail_out = static_cast<uInt>(chunk.size());
        state = inflate(&stream, Z_NO_FLUSH);
        if (state != Z_OK && state != Z_STREAM_END) failDamaged(path);
        text.append(chunk, 0, chunk.size() - stream.avail_out);
        if (text.size() > mostBytes) {
            throw Error(ErrorKind::limit, "holds more than 2 GiB; unpack it with gunzip")
                .at({path});
        }
    }
    return text;
}

} // namespace saddlefit::host
