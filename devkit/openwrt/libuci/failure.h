// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>

#include "abi.h"

namespace zephran::uci_standin {

/// Leaves an operation with one of the library's error numbers.
struct Failure : std::exception {
    explicit Failure(Result number) : result{number} {}
    [[nodiscard]] const char* what() const noexcept override { return "libuci operation failed"; }

    Result result;
};

}  // namespace zephran::uci_standin
