// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>

#include <json/json.h>

#include "common/uri.h"

namespace zephran {

/// A report to the update server that waits to be sent.
struct UnsentReport {
    enum class Kind {
        step,   ///< on a step that has been taken
        start,  ///< that an installation starts, which therefore waits for it
        closing
    };

    Kind kind = Kind::step;
    common::URI address;
    Json::Value document;
    /// Only the first detail is left, because the server refused the whole report.
    bool is_shortened = false;

    /// Drops all details but the first.
    void shorten();
};

/// What has become of a report that was sent.
enum class ReportFate {
    taken,
    waits,    ///< there was no answer, or one that may be another later
    refused,  ///< the same report would be refused again
    obsolete  ///< the action has ended at the server, or is unknown there
};

/// What an exception of the client says about the report. Statuses that concern the access and not
/// the report (401, 407) and a conflict of two reports (409) may pass, too.
[[nodiscard]] ReportFate fate_after(const std::exception& failure);

}  // namespace zephran
