// SPDX-License-Identifier: Apache-2.0
#include "common/new_thread.h"

#include <atomic>
#include <cerrno>
#include <string>

#include <boost/exception/get_error_info.hpp>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

namespace {

using Create = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

/// The error with which the system refuses threads; 0 if it has one to spare.
std::atomic<int> refusal{0};

}  // namespace

extern "C" int create_unless_refused(pthread_t* thread, const pthread_attr_t* attributes,
                                     void* (*work)(void*), void* argument) {
    const int error = refusal;
    if (error != 0) {
        return error;
    }
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the way to a function's address
    auto* const create = reinterpret_cast<Create*>(dlsym(RTLD_NEXT, "pthread_create"));
    return create(thread, attributes, work, argument);
}

// In the place of the system's.
extern "C" int pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)
    __attribute__((alias("create_unless_refused")));

namespace zephran::common {
namespace {

class NewThread : public testing::Test {
protected:
    void TearDown() override { refusal = 0; }

    static void expect_refusal(const ThreadException& failure, int error) {
        EXPECT_STREQ(failure.what(), "Failed to start a thread");
        const int* const number = boost::get_error_info<boost::errinfo_errno>(failure);
        ASSERT_NE(number, nullptr);
        EXPECT_EQ(*number, error);
    }

    const std::thread::id own = std::this_thread::get_id();
};

TEST_F(NewThread, WorksBesideItsCreator) {
    std::thread::id worker;

    new_thread([&] { worker = std::this_thread::get_id(); }).join();

    EXPECT_NE(worker, std::thread::id{});
    EXPECT_NE(worker, own);
}

TEST_F(NewThread, RefusedOneIsAFailureWithItsReason) {
    for (const int error : {EAGAIN, EPERM}) {
        refusal = error;
        bool worked = false;

        try {
            new_thread([&] { worked = true; }).join();
            ADD_FAILURE() << "no exception";
        } catch (const ThreadException& failure) {
            expect_refusal(failure, error);
        }

        EXPECT_FALSE(worked);
    }
}

TEST_F(NewThread, WorkBegunInOneHasItsResult) {
    auto worker = begin_in_thread([] { return std::this_thread::get_id(); });

    EXPECT_NE(worker.get(), own);
}

TEST_F(NewThread, WorkForWhichThereIsNoneHasFailedWithTheReason) {
    refusal = EAGAIN;
    bool worked = false;

    auto text = begin_in_thread([&] {
        worked = true;
        return std::string{"text"};
    });

    try {
        text.get();
        ADD_FAILURE() << "no exception";
    } catch (const ThreadException& failure) {
        expect_refusal(failure, EAGAIN);
    }
    EXPECT_FALSE(worked);
}

}  // namespace
}  // namespace zephran::common
