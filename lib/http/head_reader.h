// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "http/partial_transfer.h"

namespace zephran::http {

/// Reads the head of an answer line by line. What an interim answer (100 to 199) says is forgotten.
class HeadReader {
public:
    /// @param line with its line end
    /// @returns true for the line that ends the head of the final answer; lines after it are
    ///          trailers and change nothing
    bool add(const std::string& line);

    [[nodiscard]] const AnswerHead& head() const { return head_; }

private:
    void add_header(const std::string& line);

    AnswerHead head_;
    bool complete = false;
};

}  // namespace zephran::http
