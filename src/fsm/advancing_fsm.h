// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

namespace zephran {

/// The Boost.MSM back end around a front end. It is defined in advancing_fsm_impl.h, which only the
/// source file of a machine includes: the machines are slow to compile.
template <class FSM>
struct FSMBackend;

/// Drives a state machine by ticks: one AdvanceEvent per tick, unless an action has asked for a
/// pause. Actions that fail have a small retry budget.
///
/// @tparam FSM          front end of the machine, constructed with a reference to the owner
/// @tparam ErrorEvent   sent when the retries are used up
/// @tparam AdvanceEvent sent by every tick
/// @tparam Owner        the class that derives from this frame
template <class FSM, class ErrorEvent, class AdvanceEvent, class Owner>
class AdvancingFSM {
public:
    AdvancingFSM(const AdvancingFSM&) = delete;
    AdvancingFSM& operator=(const AdvancingFSM&) = delete;
    virtual ~AdvancingFSM();

    /// Takes one step, or skips one of the ticks to wait.
    void tick();

    /// Starts or continues a retry run, or gives up by sending ErrorEvent. Success does not end a
    /// run: the next failure, however much later, still belongs to it.
    ///
    /// @param delay   ticks to wait before the next attempt
    /// @param retries number of retries in a new run
    void wait_and_retry(std::uint32_t delay, std::uint32_t retries);

protected:
    /// Starts the machine. Nothing of the owner is there yet but the reference to it, so initial
    /// states have no entry.
    explicit AdvancingFSM(Owner& owner);

    /// Sends an event; inside a transition it is queued until the transition has ended.
    template <class Event>
    void process(const Event& event);

    /// Address of the machine, the value of the log field "fsm".
    [[nodiscard]] const void* fsm_identity() const;

private:
    void send_error();

    std::unique_ptr<FSMBackend<FSM>> fsm;
    std::uint32_t retries_left = 0;
    bool retrying = false;
    std::uint32_t retry_delay = 0;
    std::uint32_t wait_ticks = 0;
};

}  // namespace zephran
