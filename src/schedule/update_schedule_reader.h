// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

namespace zephran {

class DeviceStore;
class UpdateSchedule;

/// Reads the schedule from the device's configuration. Only the hours of its times count.
///
/// @returns null when the schedule is disabled or its options are missing or invalid, which is
///          logged; deployments are not restricted then
[[nodiscard]] std::unique_ptr<UpdateSchedule> read_update_schedule(const DeviceStore& store);

}  // namespace zephran
