// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

extern "C" {
#include <libubox/blob.h>
}

namespace zephran::ubox_standin {

/// Places an attribute with a zeroed payload behind what the innermost open one holds, which does
/// not count it yet. Returns nullptr when there is no room.
[[nodiscard]] blob_attr* place(blob_buf& buf, unsigned id_bits, std::size_t payload);

/// Makes the innermost open attribute as long as it is with the one placed last.
void count_in(blob_buf& buf, const blob_attr& placed);

/// Makes a placed attribute the innermost open one. The cookie leads back and is never nullptr.
[[nodiscard]] void* open(blob_buf& buf, blob_attr& placed);

void set_raw_len(blob_attr& attr, std::size_t length);

}  // namespace zephran::ubox_standin
