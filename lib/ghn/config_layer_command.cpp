// SPDX-License-Identifier: Apache-2.0
#include "ghn/config_layer_command.h"

#include <stdexcept>

#include <boost/algorithm/string/replace.hpp>

#include "common/exception.h"
#include "common/shell.h"

namespace zephran::ghn {

namespace {

const char* word_for(ConfigLayerOperation operation) {
    switch (operation) {
        case ConfigLayerOperation::get:
            return "GET";
        case ConfigLayerOperation::set:
            return "SET";
        case ConfigLayerOperation::discover:
            return "DISCOVER";
    }
    ZEPHRAN_THROW(std::invalid_argument{"op"});
}

}  // namespace

ConfigLayerCommand::ConfigLayerCommand(ConfigLayerQuoting quoting_of_values)
    : quoting{quoting_of_values} {
    text << "configlayer";
}

ConfigLayerCommand::ConfigLayerCommand(const ConfigLayerCommand& other)
    : quoting{other.quoting}, secret{other.secret} {
    text << other.build();
}

ConfigLayerCommand& ConfigLayerCommand::operator=(const ConfigLayerCommand& other) {
    if (this != &other) {
        text = std::ostringstream{other.build(), std::ios::ate};
        quoting = other.quoting;
        secret = other.secret;
    }
    return *this;
}

ConfigLayerCommand& ConfigLayerCommand::timeout(int seconds) {
    text << " -t " << seconds;
    return *this;
}

ConfigLayerCommand& ConfigLayerCommand::retries(int count) {
    text << " -r " << count;
    return *this;
}

ConfigLayerCommand& ConfigLayerCommand::interface(const std::string& name) {
    text << " -i " << word(name);
    return *this;
}

ConfigLayerCommand& ConfigLayerCommand::password(const std::string& new_secret) {
    text << " -w " << word(new_secret);
    secret = new_secret;
    return *this;
}

ConfigLayerCommand& ConfigLayerCommand::mac_address(const std::string& address) {
    text << " -m " << word(address);
    return *this;
}

ConfigLayerCommand& ConfigLayerCommand::mac_address(const common::MacAddress& address) {
    return mac_address(address.str());
}

ConfigLayerCommand& ConfigLayerCommand::operation(ConfigLayerOperation chosen) {
    text << " -o " << word_for(chosen);
    return *this;
}

ConfigLayerCommand& ConfigLayerCommand::parameter(const std::string& name) {
    text << " -p " << name;
    return *this;
}

ConfigLayerCommand& ConfigLayerCommand::parameter(const std::string& name,
                                                  const std::string& value) {
    text << " -p " << name << "=" << word(value);
    return *this;
}

std::string ConfigLayerCommand::word(const std::string& value) const {
    return quoting == ConfigLayerQuoting::shell ? common::quote_for_shell(value) : value;
}

std::string ConfigLayerCommand::without_password(const std::string& written) const {
    if (secret.empty()) {
        return written;
    }
    // In quotes some characters of it look different.
    const std::string unquoted = quoting == ConfigLayerQuoting::none
                                     ? written
                                     : boost::replace_all_copy(written, word(secret), "***");
    return boost::replace_all_copy(unquoted, secret, "***");
}

}  // namespace zephran::ghn
