// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

#include <semaphore.h>

#include "shared_clock.h"

namespace virtual_time {
namespace {

using std::chrono::milliseconds;

TEST_F(SharedClock, ConditionTimesOut) {
    std::mutex mutex;
    std::condition_variable condition;
    std::unique_lock lock{mutex};

    EXPECT_EQ(condition.wait_for(lock, milliseconds{50}), std::cv_status::timeout);

    EXPECT_EQ(passed(), 50 * millisecond);
}

TEST_F(SharedClock, ConditionWithATimeOfTheWallClockTimesOut) {
    std::mutex mutex;
    std::condition_variable condition;
    std::unique_lock lock{mutex};

    const auto end = std::chrono::system_clock::now() + milliseconds{50};

    EXPECT_EQ(condition.wait_until(lock, end), std::cv_status::timeout);
    EXPECT_EQ(passed(), 50 * millisecond);
}

TEST_F(SharedClock, ConditionOfAClockSetTo1970TimesOut) {
    set_wall(0);
    std::mutex mutex;
    std::condition_variable condition;
    std::unique_lock lock{mutex};

    const auto end = std::chrono::system_clock::now() + milliseconds{50};

    EXPECT_EQ(condition.wait_until(lock, end), std::cv_status::timeout);
    EXPECT_EQ(passed(), 50 * millisecond);
}

TEST_F(SharedClock, ConditionThatComesTrueEndsTheWait) {
    std::mutex mutex;
    std::condition_variable condition;
    bool is_true = false;
    std::thread other{[&] {
        const std::lock_guard lock{mutex};
        is_true = true;
        condition.notify_one();
    }};
    std::unique_lock lock{mutex};

    EXPECT_TRUE(condition.wait_for(lock, std::chrono::hours{1}, [&] { return is_true; }));
    other.join();

    EXPECT_LT(passed(), 3600 * second);
}

TEST_F(SharedClock, SleepOfAnotherThreadEndsAWait) {
    std::mutex mutex;
    std::condition_variable condition;
    std::thread sleeper{[] { std::this_thread::sleep_for(std::chrono::hours{2}); }};
    std::unique_lock lock{mutex};

    EXPECT_EQ(condition.wait_for(lock, std::chrono::hours{1}), std::cv_status::timeout);
    sleeper.join();

    EXPECT_GE(passed(), 2 * 3600 * second);
}

TEST_F(SharedClock, FutureTimesOut) {
    std::promise<int> promise;
    auto future = promise.get_future();

    EXPECT_EQ(future.wait_for(milliseconds{50}), std::future_status::timeout);

    EXPECT_EQ(passed(), 50 * millisecond);
}

TEST_F(SharedClock, FutureThatIsReadyEndsTheWait) {
    auto future = std::async(std::launch::async, [] { return 3; });

    EXPECT_EQ(future.wait_for(std::chrono::hours{1}), std::future_status::ready);

    EXPECT_EQ(future.get(), 3);
    EXPECT_LT(passed(), 3600 * second);
}

TEST_F(SharedClock, SemaphoreTimesOut) {
    sem_t semaphore{};
    sem_init(&semaphore, 0, 0);
    timespec end{};
    clock_gettime(CLOCK_REALTIME, &end);
    end.tv_nsec += 50 * millisecond;

    EXPECT_EQ(sem_timedwait(&semaphore, &end), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(passed(), 50 * millisecond);

    sem_post(&semaphore);
    EXPECT_EQ(sem_timedwait(&semaphore, &end), 0);
    sem_destroy(&semaphore);
}

}  // namespace
}  // namespace virtual_time
