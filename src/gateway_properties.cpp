// SPDX-License-Identifier: Apache-2.0
#include "gateway_properties.h"

#include <fstream>
#include <sstream>

#include "common/json.h"
#include "common/logprint.h"

namespace zephran {

namespace {

hawkbit::Attributes extract_gateway_config(const Json::Value& object) {
    hawkbit::Attributes properties;
    for (const std::string& key : object.getMemberNames()) {
        const std::string value = object[key].asString();
        ZLOG_INFO("event", "add_property", "key", key, "value", value);
        properties[key] = value;
    }
    return properties;
}

}  // namespace

hawkbit::Attributes read_gateway_properties(const std::string& path) {
    std::ifstream file{path};
    // If the path cannot be read, for example because it is a directory, the text stays empty.
    std::ostringstream text;
    text << file.rdbuf();
    return extract_gateway_config(common::JSONDefaultParser{}(text.str()));
}

}  // namespace zephran
