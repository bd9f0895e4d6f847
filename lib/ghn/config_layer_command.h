// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sstream>
#include <string>

#include "common/mac_address.h"

namespace zephran::ghn {

enum class ConfigLayerOperation { get = 0, set = 1, discover = 2 };

/// How values are written into the command line.
enum class ConfigLayerQuoting {
    none,   ///< as they are: the shell gives blanks and special characters their meaning
    shell,  ///< quoted, so that the tool gets them as they are
};

/// Command line of configlayer, the tool that reads and writes the parameters of G.hn modems. Each
/// operation appends to the text and returns the command itself.
class ConfigLayerCommand {
public:
    explicit ConfigLayerCommand(ConfigLayerQuoting quoting_of_values = ConfigLayerQuoting::none);
    ConfigLayerCommand(const ConfigLayerCommand& other);
    ConfigLayerCommand& operator=(const ConfigLayerCommand& other);
    ConfigLayerCommand(ConfigLayerCommand&&) = default;
    ConfigLayerCommand& operator=(ConfigLayerCommand&&) = default;
    ~ConfigLayerCommand() = default;

    /// A copy to extend further.
    [[nodiscard]] ConfigLayerCommand clone() const { return *this; }

    ConfigLayerCommand& timeout(int seconds);
    ConfigLayerCommand& retries(int count);
    ConfigLayerCommand& interface(const std::string& name);
    ConfigLayerCommand& password(const std::string& new_secret);
    ConfigLayerCommand& mac_address(const std::string& address);
    ConfigLayerCommand& mac_address(const common::MacAddress& address);
    /// @throws std::invalid_argument "op" for a value outside the enumeration
    ConfigLayerCommand& operation(ConfigLayerOperation chosen);
    ConfigLayerCommand& parameter(const std::string& name);
    ConfigLayerCommand& parameter(const std::string& name, const std::string& value);

    /// The command line.
    [[nodiscard]] std::string build() const { return text.str(); }

    /// A text with "***" for every occurrence of the password, also as it stands in the command
    /// line.
    [[nodiscard]] std::string without_password(const std::string& written) const;

private:
    [[nodiscard]] std::string word(const std::string& value) const;

    std::ostringstream text;
    ConfigLayerQuoting quoting;
    std::string secret;
};

}  // namespace zephran::ghn
