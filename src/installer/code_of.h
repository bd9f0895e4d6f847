// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>

namespace zephran {

/// The number of a failure (failure_code.h), from the exception's type and its records. Apart from
/// the numbers, because what throws the exceptions also keeps them with their numbers.
[[nodiscard]] int code_of(const std::exception& failure);

}  // namespace zephran
