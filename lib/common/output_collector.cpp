// SPDX-License-Identifier: Apache-2.0
#include "common/output_collector.h"

#include <algorithm>

namespace zephran::common {

namespace {

// The longest line that says how much is left out.
constexpr std::size_t line_length = 48;

}  // namespace

void OutputCollector::take(std::string_view piece) noexcept {
    if (text == nullptr || failure) {
        return;
    }
    try {
        append(piece);
    } catch (...) {
        failure = std::current_exception();
    }
}

void OutputCollector::append(std::string_view piece) {
    const std::size_t stored = std::min(piece.size(), 2 * kept - text->size());
    grow_for(text->size() + stored);
    text->append(piece.substr(0, stored));
    piece.remove_prefix(stored);
    left_out += piece.size();
    while (!piece.empty()) {
        const std::size_t count = std::min(piece.size(), kept - oldest);
        std::copy_n(piece.begin(), count, text->begin() + static_cast<long>(kept + oldest));
        oldest = (oldest + count) % kept;
        piece.remove_prefix(count);
    }
}

// The string's own growth would double it beyond what is ever used.
void OutputCollector::grow_for(std::size_t size) {
    if (size > text->capacity() && (2 * text->capacity() > kept || size > kept)) {
        text->reserve(2 * kept + line_length);
    }
}

void OutputCollector::finish() {
    if (failure) {
        std::rethrow_exception(failure);
    }
    if (left_out == 0) {
        return;
    }
    const auto end_begins = text->begin() + static_cast<long>(kept);
    std::rotate(end_begins, end_begins + static_cast<long>(oldest), text->end());
    text->insert(kept, "\n[bytes left out: " + std::to_string(left_out) + "]\n");
}

}  // namespace zephran::common
