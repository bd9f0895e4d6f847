// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <utility>

namespace zephran {

/// The last answer of each guard.
class LastAnswers {
public:
    /// Notes an answer of a guard, and a second one; always the same one from a guard that gives
    /// one only.
    /// @returns whether it is the guard's first one, or differs from the one before
    [[nodiscard]] bool is_news(const char* guard, bool answer, bool second_answer) {
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
