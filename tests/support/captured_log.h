// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "common/logprint.h"

namespace zephran {

/// Collects what is logged, at the given level and above, while the object lives.
class CapturedLog {
public:
    explicit CapturedLog(const std::string& level = "DEBUG")
        : output{std::cout.rdbuf(text_stream.rdbuf())},
          errors{std::cerr.rdbuf(text_stream.rdbuf())} {
        set_log_level(level);
    }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog(CapturedLog&&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;
    CapturedLog& operator=(CapturedLog&&) = delete;
    ~CapturedLog() {
        std::cout.rdbuf(output);
        std::cerr.rdbuf(errors);
        set_log_level("DEBUG");
    }

    /// Standard output and standard error in one text, in the order of writing.
    [[nodiscard]] std::string text() const { return text_stream.str(); }

private:
    std::ostringstream text_stream;
    std::streambuf* output;
    std::streambuf* errors;
};

/// What follows a text on the lines of a log that have it.
inline std::vector<std::string> logged_after(const std::string& text, const std::string& log) {
    std::istringstream stream{log};
    std::vector<std::string> found;
    for (std::string line; std::getline(stream, line);) {
        const auto position = line.find(text);
        if (position != std::string::npos) {
            found.push_back(line.substr(position + text.size()));
        }
    }
    return found;
}

}  // namespace zephran
