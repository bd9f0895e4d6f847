// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <system_error>
#include <thread>
#include <utility>

#include <boost/exception/errinfo_errno.hpp>

#include "ubus/exceptions.h"

namespace zephran::ubus {

/// Starts a thread.
/// @throws ThreadException if the system has none to spare
template <class Work>
std::thread new_thread(Work&& work) {
    try {
        return std::thread{std::forward<Work>(work)};
    } catch (const std::system_error& error) {
        ZEPHRAN_THROW(ThreadException{} << boost::errinfo_errno{error.code().value()});
    }
}

}  // namespace zephran::ubus
