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

TEST_F(ConcurrencyTest, WritersDoNotLoseEachOthersValues) {
    constexpr int writers = 4;
    constexpr int count = 10;
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
    for (int writer = 0; writer < writers; ++writer) {
        for (int i = 0; i < count; ++i) {
            const std::string option =
                "demo.main.w" + std::to_string(writer) + "_" + std::to_string(i);
            EXPECT_EQ(read_anew(option), "done") << option;
        }
    }
}

}  // namespace

}  // namespace zephran::uci_standin
