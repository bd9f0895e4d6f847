// SPDX-License-Identifier: Apache-2.0
#include "agent/postponement.h"

#include "common/logprint.h"
#include "platform.h"
#include "store/device_store.h"

namespace zephran {

namespace {

using std::chrono::system_clock;

constexpr DeviceStore::Caller caller{"postpone_deployment"};

DeviceStore store() {
    return DeviceStore{*platform::get_config()};
}

}  // namespace

void Postponement::load() {
    if (const auto kept = store().postponement()) {
        note(kept->action_id, time_point{std::chrono::seconds{kept->until}});
    }
}

void Postponement::set(const std::string& action_id, time_point until) {
    note(action_id, until);
    store().set_postponement({action_id, system_clock::to_time_t(until)}, caller);
    ZLOG_INFO("event", "postpone_deployment", "action_id", action_id, "until", until);
}

void Postponement::note(const std::string& action_id, time_point until) {
    // A clock that is set back by less than a day must not end it; by more than that, what was
    // noted is not to be relied on.
    constexpr std::chrono::hours tolerated{24};
    id = action_id;
    deadline = Deadline{until, until - longest - tolerated};
}

void Postponement::keep_only(const std::string& action_id) {
    if (!id.empty() && id != action_id) {
        forget();
    }
}

void Postponement::forget() {
    if (!id.empty()) {
        id.clear();
        deadline = Deadline{};
        store().forget_postponement(caller);
    }
}

std::optional<Postponement::time_point> Postponement::end(time_point now) const {
    return deadline.is_reached(now) ? std::nullopt : std::make_optional(deadline.when());
}

}  // namespace zephran
