// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace virtual_time {

/// Whether something of this program goes on beside the calling thread: a thread that does not
/// rest, or a child. Then a second may not be skipped, as its work would take thousands of them.
[[nodiscard]] bool is_accompanied();

/// While it exists, the calling thread does nothing until another thread or a neighbour wants
/// something of it.
class Rest {
public:
    explicit Rest(bool is_one = true);
    ~Rest();

    Rest(const Rest&) = delete;
    Rest& operator=(const Rest&) = delete;

private:
    bool rests;
};

}  // namespace virtual_time
