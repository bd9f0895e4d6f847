// SPDX-License-Identifier: Apache-2.0
// What the update server answers to a poll.
#include <memory>

#include <curl/curl.h>

#include "common/json.h"
#include "fuzz/target.h"
#include "hawkbit/controller.h"

namespace zephran::fuzz {

namespace {

struct FreeUrl {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};

/// What libcurl makes of an address; "" if it refuses it.
std::string scheme_for_curl(const std::string& address) {
    const std::unique_ptr<CURLU, FreeUrl> url{curl_url()};
    char* scheme = nullptr;
    if (curl_url_set(url.get(), CURLUPART_URL, address.c_str(), 0) != CURLUE_OK ||
        curl_url_get(url.get(), CURLUPART_SCHEME, &scheme, 0) != CURLUE_OK) {
        return {};
    }
    const std::string text = scheme;
    curl_free(scheme);
    return text;
}

bool has_authority(const std::string& address, const std::string& scheme) {
    const std::string begin = scheme + "://";
    return address.compare(0, begin.size(), begin) == 0 && address.size() > begin.size() &&
           std::string{"/?#"}.find(address[begin.size()]) == std::string::npos;
}

void require_secure(const common::URI& link) {
    if (link.empty()) {
        return;
    }
    const std::string address = link.str();
    require(has_authority(address, "https"),
            "what the controller takes over is https with an authority");
    const std::string scheme = scheme_for_curl(address);
    require(scheme.empty() || scheme == "https", "libcurl takes it for https, too");
}

void require_web(const common::URI& link) {
    const std::string address = link.str();
    require(link.empty() || has_authority(address, "https") || has_authority(address, "http"),
            "the link of a cancellation is http or https with an authority");
}

}  // namespace

void try_input(Input input) {
    static const hawkbit::Controller new_one = [] {
        hawkbit::Controller made;
        made.extract_from(hawkbit::ControllerURLBuilder{"gw-1", "update.example", "DEFAULT", true});
        return made;
    }();
    hawkbit::Controller controller = new_one;
    try {
        hawkbit::ControllerStatusMessage status;
        status.from_json(common::JSONDefaultParser{}(input.rest()));
        controller.extract_from(status, [] { return hawkbit::Controller::time_point{}; });
    } catch (const common::Exception&) {
        // What was taken over before the refusal counts, too.
    }
    require_secure(controller.base());
    require_secure(controller.config_data());
    require_secure(controller.deployment_base());
    require_secure(controller.deployment_feedback());
    require_web(controller.cancel_action());
    require_web(controller.cancel_feedback());
}

}  // namespace zephran::fuzz
