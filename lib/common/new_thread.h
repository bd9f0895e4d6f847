// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <future>
#include <system_error>
#include <thread>
#include <utility>

#include <boost/exception/errinfo_errno.hpp>

#include "common/exception.h"

namespace zephran::common {

struct ThreadException : Exception {
    ThreadException() : Exception{"Failed to start a thread"} {}
};

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

/// Carries out work on a thread of its own.
/// @returns what becomes of it; its destructor waits for the end. If the system has no thread to
///          spare, the work is not begun and has failed with ThreadException.
template <class Work>
auto begin_in_thread(Work&& work) -> std::future<decltype(work())> {
    try {
        return std::async(std::launch::async, std::forward<Work>(work));
    } catch (const std::system_error& error) {
        std::promise<decltype(work())> failed;
        try {
            ZEPHRAN_THROW(ThreadException{} << boost::errinfo_errno{error.code().value()});
        } catch (const ThreadException&) {
            failed.set_exception(std::current_exception());
        }
        return failed.get_future();
    }
}

}  // namespace zephran::common
