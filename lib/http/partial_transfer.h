// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace zephran::http {

/// What of a file is asked for.
struct RangeWanted {
    /// The first byte; 0 for the whole file.
    std::uint64_t from = 0;
    /// The ETag of what is there already, exactly as it came. The server sends the whole file if
    /// its own has another one.
    std::string entity_tag;
};

/// What the head of an answer says about a file. A header that did not come is empty.
struct AnswerHead {
    unsigned status = 0;
    std::string entity_tag;
    std::string content_range;
    std::string retry_after;
};

/// Takes a file, or the rest of one, as it arrives, on the thread of the transfer.
class PartialReceiver {
public:
    PartialReceiver() = default;
    PartialReceiver(const PartialReceiver&) = delete;
    PartialReceiver& operator=(const PartialReceiver&) = delete;
    virtual ~PartialReceiver() = default;

    /// Called once, before the first byte, also for an answer that is an error.
    /// @returns false to end the transfer
    virtual bool take_head(const AnswerHead& head) noexcept = 0;
    /// Called for bytes of an answer that is no error.
    /// @returns false to end the transfer
    virtual bool take(const char* data, std::size_t size) noexcept = 0;
    /// Asked at least once a second; true ends the transfer.
    [[nodiscard]] virtual bool is_stopped() const noexcept = 0;
};

}  // namespace zephran::http
