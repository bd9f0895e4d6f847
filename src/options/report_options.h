// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace zephran {

class Config;

/// What the section "service" says about the reports to the update server.
struct ReportOptions {
    /// A closing report that tells of a failure carries the number of its kind.
    bool codes = false;
    /// A report that cannot be delivered is kept and sent again; otherwise it ends the process.
    bool retries = false;
};

/// Reads them once, at start-up; nothing is thrown.
[[nodiscard]] ReportOptions read_report_options(Config& config);

}  // namespace zephran
