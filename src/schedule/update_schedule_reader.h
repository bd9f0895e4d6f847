#pragma once

#include <memory>

namespace zephran {

class Config;
class UpdateSchedule;

/// Reads the schedule from the options "zephran.schedule.enabled" ("1" switches it on),
/// ".daysofweek" (English names separated by blanks), ".starttime" and ".stoptime" ("HH:MM", of
/// which the hours count).
///
/// @returns empty when the schedule is disabled or its options cannot be used, which is logged;
///          deployments are not restricted then
[[nodiscard]] std::unique_ptr<UpdateSchedule> read_update_schedule(Config& config);

}  // namespace zephran
