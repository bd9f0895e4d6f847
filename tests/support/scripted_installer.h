// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "common/exception.h"
#include "installer/installer_context.h"

namespace zephran::test {

struct ScriptedFailure : common::Exception {
    ScriptedFailure() : Exception{"The installer failed as it was told"} {}
};

/// How the installers of a part type behave, and which calls they received.
struct InstallerScript {
    bool will_reboot = false;
    bool can_resume = false;
    bool fails_to_be_made = false;
    bool fails_to_start = false;
    bool fails_while_installing = false;
    bool is_cancellable = true;
    /// How many queries it answers with "not finished yet" or "not cancelled yet".
    unsigned steps_to_install = 0;
    unsigned steps_to_cancel = 0;
    /// What it reports to the server.
    std::string report;

    /// Chunks that were started, as "name:version", in order.
    std::vector<std::string> started;
    /// The same for those whose interrupted installation was resumed.
    std::vector<std::string> taken_up;
    unsigned cancellations = 0;
    /// What the last one was made with.
    InstallerContext context;
};

/// A part type with a scripted installer, registered while the object lives.
class ScriptedPart {
public:
    /// @param priority chunks with a lower one are installed earlier
    explicit ScriptedPart(const std::string& part_type, unsigned priority = 10);
    ScriptedPart(const ScriptedPart&) = delete;
    ScriptedPart(ScriptedPart&&) = delete;
    ScriptedPart& operator=(const ScriptedPart&) = delete;
    ScriptedPart& operator=(ScriptedPart&&) = delete;
    ~ScriptedPart();

    InstallerScript script;

private:
    std::string part;
};

}  // namespace zephran::test
