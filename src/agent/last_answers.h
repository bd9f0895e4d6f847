// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>

namespace zephran {

/// The last answer of each guard.
class LastAnswers {
public:
    /// Notes an answer.
    /// @returns whether it is the guard's first one, or differs from the one before
    [[nodiscard]] bool is_news(const char* guard, unsigned answer) {
        const auto [last, is_first] = answers.try_emplace(guard, answer);
        const bool differs = last->second != answer;
        last->second = answer;
        return is_first || differs;
    }

private:
    std::map<std::string, unsigned> answers;
};

}  // namespace zephran
