#pragma once

#include <string_view>

namespace zephran::ubusd {

/// Whether a list says for each method, by a table of that name, which type each argument has.
bool is_signature(std::string_view list);

}  // namespace zephran::ubusd
