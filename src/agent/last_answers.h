// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <utility>

namespace zephran {

/// The last answer of each guard.
class LastAnswers {
public:
    /// Notes an answer, and the second one of a guard that gives two.
    /// @returns whether it is the guard's first one, or differs from the one before
    [[nodiscard]] bool is_news(const char* guard, bool answer, bool second_answer = false) {
        const std::pair<bool, bool> both{answer, second_answer};
        const auto [last, is_first] = answers.try_emplace(guard, both);
        const bool differs = last->second != both;
        last->second = both;
        return is_first || differs;
    }

private:
    std::map<std::string, std::pair<bool, bool>> answers;
};

}  // namespace zephran
