// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <optional>

#include "agent/report_file.h"
#include "agent/unsent_report.h"
#include "schedule/backoff_timer.h"
#include "schedule/deadline.h"

namespace zephran {

/// The reports of one target that the update server has not taken yet, in the order in which they
/// are sent. After a failure that may pass the next attempt waits for a back-off.
class UnsentReports {
public:
    using time_point = std::chrono::system_clock::time_point;
    /// Throws what the client throws.
    using Send = std::function<void(const UnsentReport&)>;

    UnsentReports(Send send_report, std::function<time_point()> clock, common::BackoffTimer timer)
        : send{std::move(send_report)}, now{std::move(clock)}, backoff{timer} {}

    /// Takes over the closing report of an earlier process, and keeps later ones in this file.
    void keep_in(ReportFile closing_reports);

    void add(UnsentReport report);
    /// Sends the reports whose time has come; throws nothing.
    void send_due();
    /// Ends the back-off.
    void hurry() { retry_at = Deadline{}; }

    /// When they are sent again.
    [[nodiscard]] time_point retry_time() const { return retry_at.when(); }
    [[nodiscard]] bool empty() const { return reports.empty(); }
    /// Whether another than a closing report waits.
    [[nodiscard]] bool holds_step() const;
    /// What became of the report that an installation starts, if it was dropped since the last
    /// call.
    [[nodiscard]] std::optional<ReportFate> take_dropped_start();
    /// Whether the server has answered a report as if its action had ended, since the last call.
    [[nodiscard]] bool take_obsolete();

private:
    [[nodiscard]] ReportFate send_first();
    void settle(ReportFate fate);
    void shorten_first();
    void drop_first(ReportFate fate);
    void remove_first();
    void wait_for_retry();

    Send send;
    std::function<time_point()> now;
    common::BackoffTimer backoff;
    std::deque<UnsentReport> reports;
    std::optional<ReportFile> file;
    Deadline retry_at;
    std::string failure;
    std::optional<ReportFate> dropped_start;
    bool has_dropped_obsolete = false;
};

}  // namespace zephran
