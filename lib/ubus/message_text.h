#pragma once

#include <optional>
#include <string>

#include "ubus/libraries.h"

namespace zephran::ubox {

/// Deepest nesting of tables and arrays that is read. The bus library converts messages by
/// recursion and the broker passes on what a caller sends: a megabyte of nested tables would use
/// up the stack of the receiver thread. The command line cannot send more: the JSON reader ends
/// there.
inline constexpr unsigned deepest_nesting = 32;

/// The arguments of a call as the text of one JSON object.
///
/// A caller can make this text something that is no JSON: the library writes members without a
/// name and numbers such as "nan" as they come.
///
/// @return empty when the library could not convert the message
/// @throws NestingTooDeepException
[[nodiscard]] std::optional<std::string> to_json_text(blob_attr* message);

}  // namespace zephran::ubox
