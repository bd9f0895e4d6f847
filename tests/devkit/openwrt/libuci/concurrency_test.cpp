// SPDX-License-Identifier: Apache-2.0
#include <thread>
#include <vector>

#include "standin_test.h"

namespace zephran::uci_standin {

namespace {

using ConcurrencyTest = StandinTest;

/// True when every step of every write succeeded.
bool write_many(const TemporaryDirectory& directory, int writer, int count) {
    bool succeeded = true;
    for (int i = 0; i < count; ++i) {
        Session session{directory};
        const std::string option =
            "demo.main.w" + std::to_string(writer) + "_" + std::to_string(i) + "=done";
        succeeded = session.lookup(option) == ok && session.set() == ok && session.save() == ok &&
                    session.commit() == ok && succeeded;
    }
    return succeeded;
}

/// How many of the values that the writers have stored are not there.
int lost_values(const TemporaryDirectory& directory, int writers, int count) {
    Session session{directory};
    int lost = 0;
    for (int writer = 0; writer < writers; ++writer) {
        for (int i = 0; i < count; ++i) {
            session.lookup("demo.main.w" + std::to_string(writer) + "_" + std::to_string(i));
            lost += session.value() == "done" ? 0 : 1;
        }
    }
    return lost;
}

// The lock of a commit is on a file that the commit before it has replaced. Most rounds lose some
// values.
TEST_F(ConcurrencyTest, WritersThatMeetLoseValuesAndAreToldOfSuccess) {
    constexpr int writers = 4;
    constexpr int count = 10;
    constexpr int rounds = 50;
    int lost = 0;

    for (int round = 0; round < rounds && lost == 0; ++round) {
        directory.write("config/demo", demo_text);
        std::vector<char> succeeded(writers, 0);
        std::vector<std::thread> threads;
        for (int writer = 0; writer < writers; ++writer) {
            threads.emplace_back([&, writer] {
                succeeded[static_cast<std::size_t>(writer)] =
                    write_many(directory, writer, count) ? 1 : 0;
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(succeeded, std::vector<char>(writers, 1));
        lost = lost_values(directory, writers, count);
    }

    EXPECT_GT(lost, 0);
}

}  // namespace

}  // namespace zephran::uci_standin
