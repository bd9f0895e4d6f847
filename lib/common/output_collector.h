// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <string_view>

namespace zephran::common {

/// Collects a text of any length in a bounded string: of a long one the beginning and the end, with
/// a line in between that says how much is left out.
class OutputCollector {
public:
    /// How much of each end is kept, in bytes.
    static constexpr std::size_t default_kept = std::size_t{1024} * 1024;

    /// @param target receives the text; must be empty and outlive the collector
    explicit OutputCollector(std::string& target, std::size_t kept_of_each_end = default_kept)
        : text{&target}, kept{kept_of_each_end} {}
    /// Collects nothing and needs no memory.
    OutputCollector() = default;

    /// Once a piece could not be stored, the later ones are ignored.
    void take(std::string_view piece) noexcept;

    /// Puts the text in order; to be called once, at its end.
    /// @throws whatever was thrown while a piece was stored, and std::bad_alloc
    void finish();

private:
    void append(std::string_view piece);
    void grow_for(std::size_t size);

    std::string* text = nullptr;
    std::size_t kept = 0;
    // The second half of a full text is a ring that begins here.
    std::size_t oldest = 0;
    unsigned long long left_out = 0;
    std::exception_ptr failure;
};

}  // namespace zephran::common
