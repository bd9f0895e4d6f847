// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "agent/unsent_report.h"
#include "common/uri.h"

namespace zephran {

/// Keeps the closing report of one target over the end of the process and over power cuts, in a
/// file that only the daemon's user may read: reports can hold a program's output.
///
/// What cannot be written or used is one line in the log (event "report_file"), never an exception.
class ReportFile {
public:
    /// @param target_address where the target is found at the update server. A file of another
    ///        target or for another server is not used.
    /// @param directory with a trailing slash; it is made if it is missing
    ReportFile(const common::URI& target_address, const std::string& directory);

    /// The kept report, if there is one. A file that cannot be used is removed.
    [[nodiscard]] std::optional<UnsentReport> load() const;
    /// Replaces the kept report. After a power cut there is either the old or the new one.
    void save(const UnsentReport& report) const;
    void remove() const;

private:
    [[nodiscard]] std::string read() const;
    [[nodiscard]] UnsentReport parse(const std::string& text) const;
    void write(const std::string& text) const;

    std::string target;
    std::string folder;
    std::string path;
};

}  // namespace zephran
