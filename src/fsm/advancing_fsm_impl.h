// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/msm/back/state_machine.hpp>

#include "common/logprint.h"
#include "fsm/advancing_fsm.h"

/// Definitions of the frame, included by the one source file of each machine that instantiates it.
namespace zephran {

template <class FSM>
struct FSMBackend : boost::msm::back::state_machine<FSM> {
    using boost::msm::back::state_machine<FSM>::state_machine;
};

template <class FSM, class ErrorEvent, class AdvanceEvent, class Owner>
AdvancingFSM<FSM, ErrorEvent, AdvanceEvent, Owner>::AdvancingFSM(Owner& owner)
    : fsm{std::make_unique<FSMBackend<FSM>>(std::ref(owner))} {
    fsm->start();
}

template <class FSM, class ErrorEvent, class AdvanceEvent, class Owner>
AdvancingFSM<FSM, ErrorEvent, AdvanceEvent, Owner>::~AdvancingFSM() = default;

template <class FSM, class ErrorEvent, class AdvanceEvent, class Owner>
void AdvancingFSM<FSM, ErrorEvent, AdvanceEvent, Owner>::tick() {
    if (wait_ticks != 0) {
        --wait_ticks;
        return;
    }
    const int from_state = fsm->current_state()[0];
    fsm->process_event(AdvanceEvent{});
    ZLOG_DEBUG("event", "tick", "fsm", fsm_identity(), "from_state", from_state, "to_state",
               fsm->current_state()[0]);
}

template <class FSM, class ErrorEvent, class AdvanceEvent, class Owner>
void AdvancingFSM<FSM, ErrorEvent, AdvanceEvent, Owner>::wait_and_retry(std::uint32_t delay,
                                                                        std::uint32_t retries) {
    if (retrying && retries_left == 0) {
        ZLOG_WARNING("event", "failing", "fsm", fsm_identity());
        retrying = false;
        wait_ticks = 0;
        send_error();
    } else if (retrying) {
        ZLOG_INFO("event", "retrying", "retries", retries, "fsm", fsm_identity());
        --retries_left;
        wait_ticks = retry_delay;
    } else if (retries == 0) {
        ZLOG_INFO("event", "not_retrying", "fsm", fsm_identity());
        send_error();
    } else {
        ZLOG_INFO("event", "retrying", "retries", retries, "fsm", fsm_identity());
        retrying = true;
        retries_left = retries - 1;
        retry_delay = delay;
        wait_ticks = delay;
    }
}

template <class FSM, class ErrorEvent, class AdvanceEvent, class Owner>
template <class Event>
void AdvancingFSM<FSM, ErrorEvent, AdvanceEvent, Owner>::process(const Event& event) {
    fsm->process_event(event);
}

template <class FSM, class ErrorEvent, class AdvanceEvent, class Owner>
const void* AdvancingFSM<FSM, ErrorEvent, AdvanceEvent, Owner>::fsm_identity() const {
    return fsm.get();
}

template <class FSM, class ErrorEvent, class AdvanceEvent, class Owner>
void AdvancingFSM<FSM, ErrorEvent, AdvanceEvent, Owner>::send_error() {
    fsm->process_event(ErrorEvent{});
}

}  // namespace zephran
