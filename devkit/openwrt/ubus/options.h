#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zephran::ubus {

struct Options {
    /// Nothing stands for the default path of the client library.
    std::optional<std::string> socket;
    /// 0 is without limit.
    int timeout_milliseconds = 30000;
    /// Output and exit statuses for scripts.
    bool simple = false;
    bool verbose = false;
    std::string command;
    std::vector<std::string> arguments;
};

/// @throws UsageError when an option or the command is unknown or incomplete.
Options parse_options(int argc, char* argv[]);

}  // namespace zephran::ubus
