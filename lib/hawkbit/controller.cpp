// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/controller.h"

#include "common/exception.h"
#include "hawkbit/exceptions.h"

namespace zephran::hawkbit {
namespace {

ZEPHRAN_REPORTED(url);
ZEPHRAN_REPORTED(needed);
ZEPHRAN_REPORTED(available);

constexpr const char* secure_scheme = "https";
constexpr const char* plain_scheme = "http";
constexpr const char* feedback_suffix = "/feedback";

[[noreturn]] void refuse(const common::URI& link) {
    ZEPHRAN_THROW(InsecureURLException{} << url_tag{link.str()});
}

void require_link_as_secure_as(const common::URI& base, const common::URI& link) {
    require_web_link(link);
    if (base.scheme() == secure_scheme && link.scheme() != secure_scheme) {
        refuse(link);
    }
}

/// Escapes what would end the segment or the path, or is not allowed in it (RFC 3986, 3.3).
std::string as_path_segment(const std::string& text) {
    static const std::string allowed_but_dot =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_~!$&'()*+,;=:@";
    // These two are no names: they mean this segment and the one before it.
    const bool is_dot_segment = text == "." || text == "..";
    const std::string allowed = is_dot_segment ? allowed_but_dot : allowed_but_dot + '.';
    constexpr const char* digits = "0123456789ABCDEF";
    constexpr unsigned low_bits = 0xF;
    std::string segment;
    for (const char character : text) {
        if (allowed.find(character) != std::string::npos) {
            segment += character;
            continue;
        }
        const auto byte = static_cast<unsigned char>(character);
        segment += '%';
        segment += digits[byte >> 4U];
        segment += digits[byte & low_bits];
    }
    return segment;
}

}  // namespace

void require_web_link(const common::URI& link) {
    const bool is_web_scheme = link.scheme() == secure_scheme || link.scheme() == plain_scheme;
    if (!is_web_scheme || link.authority().empty()) {
        refuse(link);
    }
}

common::URI ControllerURLBuilder::base_url() const {
    const std::string scheme = use_https ? secure_scheme : plain_scheme;
    return common::URI{scheme + "://" + host + "/" + as_path_segment(tenant) + "/controller/v1/" +
                       as_path_segment(controller_id)};
}

common::URI ControllerURLBuilder::config_data_url() const {
    return base_url().with_path_suffix("/configData");
}

void Controller::extract_from(const ControllerURLBuilder& builder) {
    base_ = builder.base_url();
    config_data_ = builder.config_data_url();
}

void Controller::extract_links(const ControllerStatusMessage& status) {
    const auto config_link = status.config_data().value_or(common::URI{});
    const auto cancel_link = status.cancel_action().value_or(common::URI{});
    const auto deployment_link = status.deployment_base().value_or(common::URI{});

    if (!config_link.empty()) {
        require_link_as_secure_as(base_, config_link);
        config_data_ = config_link;
    }
    // This link can only end an action, so it may be less secure than the base.
    if (!cancel_link.empty()) {
        require_web_link(cancel_link);
    }
    cancel_action_ = cancel_link;
    if (!deployment_link.empty()) {
        require_link_as_secure_as(base_, deployment_link);
    }
    deployment_base_ = deployment_link;

    // The feedback addresses outlive their links: a closing report is still due after the server
    // has withdrawn the link.
    if (!cancel_action_.empty()) {
        cancel_feedback_ = cancel_action_.with_path_suffix(feedback_suffix);
    }
    if (!deployment_base_.empty()) {
        deployment_feedback_ = deployment_base_.with_path_suffix(feedback_suffix);
    }
}

}  // namespace zephran::hawkbit
