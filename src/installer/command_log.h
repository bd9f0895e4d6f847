// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "common/logprint.h"

namespace zephran::installer {

/// Logs at INFO, as start_installation() and as the caller's line, which command is run now.
/// @param file, line are the caller's; not to be passed
inline void log_command(const std::string& command, const char* file = __builtin_FILE(),
                        int line = __builtin_LINE()) {
    if (info_logger.enabled) {
        log_detail::print(info_logger, "INFO", file, line, "start_installation", "event",
                          "executing", "command", command);
    }
}

}  // namespace zephran::installer
