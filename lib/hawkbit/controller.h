// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>

#include "common/exception.h"
#include "common/record.h"
#include "common/uri.h"
#include "hawkbit/messages/controller_status.h"

namespace zephran::hawkbit {

ZEPHRAN_RECORD(url, std::string, reported_at(430));

struct InsecureURLException : common::Exception {
    InsecureURLException() : Exception{"Server supplied insecure URL"} {}
};

/// Refuses what libcurl would follow by another protocol than http and https, or to a server that
/// the address does not name: libcurl reads "https:x@host/", which has no authority, as plain http.
/// @throws InsecureURLException with url_tag
void require_web_link(const common::URI& link);

/// Turns configuration into the addresses of a target on the server.
class ControllerURLBuilder {
public:
    /// @param server host name or address, optionally with ":port"
    ControllerURLBuilder(std::string target_id, std::string server, std::string server_tenant,
                         bool https)
        : controller_id{std::move(target_id)},
          host{std::move(server)},
          tenant{std::move(server_tenant)},
          use_https{https} {}

    [[nodiscard]] common::URI base_url() const;
    [[nodiscard]] common::URI config_data_url() const;

private:
    std::string controller_id;
    std::string host;
    std::string tenant;
    bool use_https;
};

/// The addresses that the conversation about one target needs, and when to poll next.
class Controller {
public:
    using time_point = std::chrono::system_clock::time_point;

    void extract_from(const ControllerURLBuilder& builder);

    /// Takes the links and the polling time of a status document. `now` is called last, so a
    /// refused link leaves the next poll time as it was.
    /// @param now returns the current system_clock time
    /// @throws InsecureURLException with url_tag, for any link that require_web_link() refuses, and
    ///         for a config data or deployment link that is not https although the server is
    ///         reached over https; empty links count as absent
    template <class CurrentTimeProvider>
    void extract_from(const ControllerStatusMessage& status, CurrentTimeProvider now) {
        extract_links(status);
        next_poll_ = now() + std::chrono::seconds{status.sleep_time()};
    }

    [[nodiscard]] const common::URI& base() const { return base_; }
    [[nodiscard]] const common::URI& cancel_action() const { return cancel_action_; }
    [[nodiscard]] const common::URI& cancel_feedback() const { return cancel_feedback_; }
    [[nodiscard]] const common::URI& config_data() const { return config_data_; }
    [[nodiscard]] const common::URI& deployment_base() const { return deployment_base_; }
    [[nodiscard]] const common::URI& deployment_feedback() const { return deployment_feedback_; }
    [[nodiscard]] time_point next_poll() const { return next_poll_; }

    void set_next_poll(time_point time) { next_poll_ = time; }
    /// Drops the deployment link; the feedback address stays.
    void forget_deployment() { deployment_base_ = common::URI{}; }

private:
    void extract_links(const ControllerStatusMessage& status);

    common::URI base_;
    common::URI cancel_action_;
    common::URI cancel_feedback_;
    common::URI config_data_;
    common::URI deployment_base_;
    common::URI deployment_feedback_;
    time_point next_poll_{};
};

}  // namespace zephran::hawkbit
