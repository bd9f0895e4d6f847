// SPDX-License-Identifier: Apache-2.0
#include "ghn/config_layer_command.h"

#include <stdexcept>

#include <boost/algorithm/string/replace.hpp>

#include "common/exception.h"

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

ConfigLayerCommand::ConfigLayerCommand() {
    text << "configlayer";
}

ConfigLayerCommand::ConfigLayerCommand(const ConfigLayerCommand& other) : secret{other.secret} {
    text << other.build();
}

ConfigLayerCommand& ConfigLayerCommand::operator=(const ConfigLayerCommand& other) {
    if (this != &other) {
        text = std::ostringstream{other.build(), std::ios::ate};
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
    text << " -i " << name;
    return *this;
}

ConfigLayerCommand& ConfigLayerCommand::password(const std::string& word) {
    text << " -w " << word;
    secret = word;
    return *this;
}

ConfigLayerCommand& ConfigLayerCommand::mac_address(const std::string& address) {
    text << " -m " << address;
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
    text << " -p " << name << "=" << value;
    return *this;
}

std::string ConfigLayerCommand::without_password(const std::string& written) const {
    return secret.empty() ? written : boost::replace_all_copy(written, secret, "***");
}

}  // namespace zephran::ghn
