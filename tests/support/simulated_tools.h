// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "support/temporary_directory.h"

namespace zephran {

/// Shell scripts that stand in for the tools of a gateway. While the object lives they are the only
/// programs that a command finds by name, and every call of theirs is noted.
class SimulatedTools {
public:
    SimulatedTools() {
        if (const char* const current = std::getenv("PATH")) {
            original_path = current;
        }
        setenv("PATH", tools.path().c_str(), 1);
    }
    SimulatedTools(const SimulatedTools&) = delete;
    SimulatedTools(SimulatedTools&&) = delete;
    SimulatedTools& operator=(const SimulatedTools&) = delete;
    SimulatedTools& operator=(SimulatedTools&&) = delete;
    ~SimulatedTools() { setenv("PATH", original_path.c_str(), 1); }

    /// Adds a tool, or replaces it.
    /// @param script what it does; it finds the real programs, and in "call" how often the tool was
    ///               called, this time included
    /// @return its path
    std::string add(const std::string& name, const std::string& script = {}) const {
        const std::string counter = notes.path(name + ".calls");
        const std::string path =
            tools.write(name,
                        "#!/bin/sh\n"
                        "PATH='" +
                            original_path + "'\n" + "echo \"" + name + "${*:+ $*}\" >>'" +
                            notes.path("calls") + "'\n" + "echo >>'" + counter + "'\n" +
                            "call=$(wc -l <'" + counter + "')\n" + script + "\n");
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return path;
    }
    void remove(const std::string& name) const { std::filesystem::remove(tools.path(name)); }

    /// The calls of all tools in order, each as "tool argument argument".
    [[nodiscard]] std::vector<std::string> calls() const {
        std::istringstream text{notes.read("calls")};
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);) {
            lines.push_back(line);
        }
        return lines;
    }

private:
    TemporaryDirectory tools;
    TemporaryDirectory notes;
    std::string original_path;
};

}  // namespace zephran
