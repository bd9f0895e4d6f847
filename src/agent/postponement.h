// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "schedule/deadline.h"

namespace zephran {

/// The user's wish that a deployment waits. It is kept in the configuration store, so that it
/// outlives the process.
class Postponement {
public:
    using time_point = Deadline::time_point;

    static constexpr std::chrono::hours longest{168};

    /// Takes over the wish that an earlier process has kept.
    void load();
    void set(const std::string& action_id, time_point until);
    /// Forgets a wish that is about another deployment.
    void keep_only(const std::string& action_id);
    void forget();

    /// When it ends, unless it has ended.
    [[nodiscard]] std::optional<time_point> end(time_point now) const;

private:
    void note(const std::string& action_id, time_point until);

    std::string id;
    Deadline deadline;
};

}  // namespace zephran
