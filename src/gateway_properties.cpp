#include "gateway_properties.h"

#include <fstream>
#include <sstream>

#include "common/json.h"
#include "common/logprint.h"

namespace zephran {

namespace {

Attributes extract_gateway_config(const Json::Value& object) {
    Attributes properties;
    for (const std::string& key : object.getMemberNames()) {
        const std::string value = object[key].asString();
        LOG_INFO("event", "add_property", "key", key, "value", value);
        properties[key] = value;
    }
    return properties;
}

}  // namespace

Attributes read_gateway_properties(const std::string& path) {
    std::ifstream file{path};
    // Inserted as a whole, what cannot be read (a directory, say) leaves the text empty.
    std::ostringstream text;
    text << file.rdbuf();
    return extract_gateway_config(common::JSONDefaultParser{}(text.str()));
}

}  // namespace zephran
