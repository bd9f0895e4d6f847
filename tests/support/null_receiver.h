// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "http/partial_transfer.h"

namespace zephran::test {

/// Takes whatever arrives and keeps nothing.
struct NullReceiver : http::PartialReceiver {
    bool take_head(const http::AnswerHead& /*answer*/) noexcept override { return true; }
    bool take(const char* /*data*/, std::size_t /*size*/) noexcept override { return true; }
    [[nodiscard]] bool is_stopped() const noexcept override { return false; }
};

}  // namespace zephran::test
