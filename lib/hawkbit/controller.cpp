// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/controller.h"

#include <boost/throw_exception.hpp>

namespace zephran::hawkbit {
namespace {

constexpr const char* secure_scheme = "https";
constexpr const char* feedback_suffix = "/feedback";

void refuse_downgrade(const common::URI& base, const common::URI& link) {
    if (base.scheme() == secure_scheme && link.scheme() != secure_scheme) {
        BOOST_THROW_EXCEPTION(InsecureURLException{} << url_tag{link.str()});
    }
}

/// Escapes what would end the segment or the path, or is not allowed in it (RFC 3986, 3.3).
std::string as_path_segment(const std::string& text) {
    static const std::string kept =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$&'()*+,;=:@";
    constexpr const char* digits = "0123456789ABCDEF";
    constexpr unsigned low_bits = 0xF;
    std::string segment;
    for (const char character : text) {
        if (kept.find(character) != std::string::npos) {
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

common::URI ControllerURLBuilder::base_url() const {
    const std::string scheme = use_https ? secure_scheme : "http";
    return common::URI{scheme + "://" + host + "/" + tenant + "/controller/v1/" +
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
    const auto deployment_link = status.deployment_base().value_or(common::URI{});

    if (!config_link.empty()) {
        refuse_downgrade(base_, config_link);
        config_data_ = config_link;
    }
    // This link can only end an action, so any scheme will do.
    cancel_action_ = status.cancel_action().value_or(common::URI{});
    if (!deployment_link.empty()) {
        refuse_downgrade(base_, deployment_link);
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
