// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zephran {

/// What a partial file is part of. The next try goes on with the file only if all of it still
/// holds.
struct ResumeRecord {
    /// Path and query of the link; the server may have got another name.
    std::string address;
    /// Announced bytes of the whole file.
    std::uint64_t size = 0;
    /// Name and hexadecimal digits of the announced sum.
    std::string digest;
    /// The server's ETag exactly as it came.
    std::string entity_tag;

    [[nodiscard]] std::string to_text() const;
    /// None for a text that this version has not written.
    [[nodiscard]] static std::optional<ResumeRecord> from_text(const std::string& text);

    /// Whether both are about the same file; its ETag is the server's to compare.
    [[nodiscard]] bool is_about_same_file(const ResumeRecord& other) const;
};

/// Whether the next try can tell the server by this ETag which file it has begun: it is there, and
/// stands for the very bytes.
[[nodiscard]] bool is_strong_tag(const std::string& entity_tag);

}  // namespace zephran
