// SPDX-License-Identifier: Apache-2.0
#include "agent/unsent_reports.h"

#include <algorithm>
#include <utility>

#include "common/logprint.h"
#include "common/record.h"

namespace zephran {

namespace {

std::string first_line(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

std::string told(const std::exception& error) {
    const std::string records = first_line(common::describe_records(error));
    return records.empty() ? error.what() : error.what() + (", " + records);
}

}  // namespace

void UnsentReports::keep_in(ReportFile closing_reports) {
    file = std::move(closing_reports);
    if (auto kept = file->load()) {
        ZLOG_WARNING("event", "report_restored", "address", kept->address.str());
        reports.push_back(std::move(*kept));
    }
}

void UnsentReports::add(UnsentReport report) {
    if (file && report.kind == UnsentReport::Kind::closing) {
        file->save(report);
    }
    reports.push_back(std::move(report));
}

void UnsentReports::send_due() {
    ReportFate fate = ReportFate::taken;
    while (!reports.empty() && fate != ReportFate::waits && retry_at.is_reached(now())) {
        fate = send_first();
        settle(fate);
    }
}

ReportFate UnsentReports::send_first() {
    try {
        send(reports.front());
        return ReportFate::taken;
    } catch (const std::exception& error) {
        failure = told(error);
        return fate_after(error);
    }
}

void UnsentReports::settle(ReportFate fate) {
    if (fate == ReportFate::waits) {
        wait_for_retry();
        return;
    }
    backoff.reset();
    if (fate == ReportFate::taken) {
        remove_first();
    } else if (fate == ReportFate::refused && !reports.front().is_shortened) {
        shorten_first();
    } else {
        drop_first(fate);
    }
}

void UnsentReports::wait_for_retry() {
    const std::chrono::milliseconds delay = backoff.next();
    const time_point current_time = now();
    retry_at = Deadline{current_time + delay, current_time};
    ZLOG_WARNING("event", "report_kept", "address", reports.front().address.str(), "what", failure,
                 "delay", delay);
}

void UnsentReports::shorten_first() {
    UnsentReport& report = reports.front();
    ZLOG_WARNING("event", "report_shortened", "address", report.address.str(), "what", failure);
    report.shorten();
    if (file && report.kind == UnsentReport::Kind::closing) {
        file->save(report);
    }
}

void UnsentReports::drop_first(ReportFate fate) {
    const UnsentReport& report = reports.front();
    if (fate == ReportFate::obsolete) {
        has_dropped_obsolete = true;
        ZLOG_WARNING("event", "report_dropped", "address", report.address.str(), "what", failure);
    } else {
        ZLOG_ERROR("event", "report_dropped", "address", report.address.str(), "what", failure);
    }
    if (report.kind == UnsentReport::Kind::start) {
        dropped_start = fate;
    }
    remove_first();
}

void UnsentReports::remove_first() {
    if (file && reports.front().kind == UnsentReport::Kind::closing) {
        file->remove();
    }
    reports.pop_front();
}

bool UnsentReports::holds_step() const {
    return std::any_of(reports.begin(), reports.end(), [](const UnsentReport& report) {
        return report.kind != UnsentReport::Kind::closing;
    });
}

std::optional<ReportFate> UnsentReports::take_dropped_start() {
    return std::exchange(dropped_start, std::nullopt);
}

bool UnsentReports::take_obsolete() {
    return std::exchange(has_dropped_obsolete, false);
}

}  // namespace zephran
