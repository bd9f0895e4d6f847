#include "frame.h"

#include "byte_order.h"

namespace zephran::ubusd {

namespace {

constexpr std::size_t header_size = 8;
constexpr std::size_t word_size = 4;

}  // namespace

std::string encode(const Frame& frame) {
    std::string bytes;
    bytes.reserve(header_size + word_size + frame.payload.size());
    append_number(bytes, 0, 1);
    append_number(bytes, static_cast<std::uint32_t>(frame.type), 1);
    append_number(bytes, frame.sequence, 2);
    append_number(bytes, frame.peer, 4);
    append_number(bytes, static_cast<std::uint32_t>(word_size + frame.payload.size()), word_size);
    bytes += frame.payload;
    return bytes;
}

void FrameAssembler::append(std::string_view bytes) {
    buffer.erase(0, consumed);
    consumed = 0;
    buffer += bytes;
}

std::optional<Frame> FrameAssembler::next() {
    const std::string_view rest = std::string_view{buffer}.substr(consumed);
    if (rest.size() < header_size + word_size) {
        return std::nullopt;
    }
    const std::size_t length = read_number(rest, header_size + 1, word_size - 1);
    if (length < word_size || padded(length) > largest_length) {
        throw FramingError{length};
    }
    if (rest.size() < header_size + length) {
        return std::nullopt;
    }
    consumed += header_size + length;
    return Frame{static_cast<MessageType>(rest[1]),
                 static_cast<std::uint16_t>(read_number(rest, 2, 2)), read_number(rest, 4, 4),
                 std::string{rest.substr(header_size + word_size, length - word_size)}};
}

}  // namespace zephran::ubusd
