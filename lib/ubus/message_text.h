// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "ubus/libraries.h"

namespace zephran::ubox {

/// The deepest nesting of tables and arrays that is accepted. The bus library converts messages
/// recursively and the broker forwards them unchecked: a megabyte of nested tables would exhaust
/// the stack of the receiver thread. The ubus command cannot send more than this: its JSON parser
/// has the same limit.
inline constexpr unsigned deepest_nesting = 32;

/// The arguments of a call as the text of one JSON object.
///
/// The text need not be valid JSON: the library writes nameless members and numbers such as "nan"
/// as they come.
///
/// @returns empty if the library could not convert the message
/// @throws NestingTooDeepException
[[nodiscard]] std::optional<std::string> to_json_text(blob_attr* message);

}  // namespace zephran::ubox
