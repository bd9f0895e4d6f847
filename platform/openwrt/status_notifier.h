// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "agent/agent_status.h"
#include "openwrt/agent_documents.h"
#include "ubus/notification_queue.h"

namespace zephran::platform::openwrt {

/// Turns what it hears into notifications "state" and "progress".
class StatusNotifier : public StatusObserver {
public:
    void state_has_changed(const AgentStatus& status) override {
        queue_->add({"state", status_document(status), false});
    }
    void download_has_progressed(const AgentStatus& status) override {
        queue_->add({"progress", progress_document(status), true});
    }

    [[nodiscard]] const std::shared_ptr<ubus::NotificationQueue>& queue() const { return queue_; }

private:
    std::shared_ptr<ubus::NotificationQueue> queue_ = std::make_shared<ubus::NotificationQueue>();
};

}  // namespace zephran::platform::openwrt
