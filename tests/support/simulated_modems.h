// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "support/simulated_tools.h"
#include "support/temporary_directory.h"

namespace zephran {

/// A configlayer with powerline modems behind it that answer what a test has written down for them,
/// one parameter a call. A modem or a parameter that is not there makes the tool fail.
class SimulatedModems {
public:
    SimulatedModems() {
        tools.add("configlayer", R"(
            while [ $# -gt 0 ]; do
                case $1 in
                    -m) mac=$2 ;;
                    -p) parameter=$2 ;;
                esac
                shift
            done
            cat ')" + answers.path() +
                                     R"('/"$mac/$parameter" 2>/dev/null || exit 3)");
    }

    /// Lets a modem answer with the value of a parameter.
    void answer(const std::string& mac, const std::string& parameter,
                const std::string& value) const {
        answer_text(mac, parameter, parameter + "=" + value + "\n");
    }
    /// Lets a modem answer with this very text.
    void answer_text(const std::string& mac, const std::string& parameter,
                     const std::string& text) const {
        answers.write(mac + "/" + parameter, text);
    }
    /// Adds an adapter that says who it is.
    void add_adapter(const std::string& mac, const std::string& serial_number) const {
        answer(mac, "DHCP.GENERAL.ENABLED_IPV4", "YES");
        answer(mac, "SYSTEM.PRODUCTION.PRODUCT_CLASS", "adapter");
        answer(mac, "SYSTEM.PRODUCTION.DEVICE_NAME", "Socket 2");
        answer(mac, "SYSTEM.PRODUCTION.HW_REVISION", "B");
        answer(mac, "SYSTEM.PRODUCTION.HW_PRODUCT", "PL-500");
        answer(mac, "SYSTEM.GENERAL.FW_VERSION", "7.8.1");
        answer(mac, "SYSTEM.PRODUCTION.SERIAL_NUMBER", serial_number);
    }
    void forget(const std::string& mac, const std::string& parameter) const {
        std::filesystem::remove(answers.path(mac + "/" + parameter));
    }
    /// Puts another tool in place of this one.
    void replace_tool(const std::string& script) const { tools.add("configlayer", script); }

    /// The calls so far, each as "configlayer argument argument".
    [[nodiscard]] std::vector<std::string> calls() const { return tools.calls(); }

private:
    SimulatedTools tools;
    TemporaryDirectory answers;
};

}  // namespace zephran
