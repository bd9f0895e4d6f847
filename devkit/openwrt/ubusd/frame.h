#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "protocol.h"

namespace zephran::ubusd {

/// One message. The version byte is always sent as 0 and never looked at.
struct Frame {
    MessageType type;
    std::uint16_t sequence;
    /// The other end, seen from the receiver or sender that is not the broker.
    std::uint32_t peer;
    /// A list of attributes.
    std::string payload;
};

/// The bytes of a frame on the wire.
std::string encode(const Frame& frame);

/// Cuts a stream of bytes into frames, however it arrives.
class FrameAssembler {
public:
    /// Largest length that a frame may state: itself a word, and its payload with padding.
    static constexpr std::size_t largest_length = 1048576;

    void append(std::string_view bytes);

    /// @return the next frame that is complete.
    /// @throws FramingError as soon as a header states a length outside the limits.
    std::optional<Frame> next();

private:
    std::string buffer;
    /// Frames before this offset have been handed out.
    std::size_t consumed = 0;
};

}  // namespace zephran::ubusd
