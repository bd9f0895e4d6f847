// SPDX-License-Identifier: Apache-2.0
// Linked into the programs that script/mutate tries. ZEPHRAN_MUTANT is the number of the mutation
// to show; without it, each mutation that a test reaches is noted in ZEPHRAN_MUTANT_LOG.
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

extern "C" bool zephran_mutant(int number);

namespace {

constexpr int not_read = -2;
constexpr int none = -1;
int chosen = not_read;
const char* log_name = nullptr;
std::array<const void*, 16384> last_test{};
// What a test that leaves no descriptors, or no room in files, has kept from being written.
std::array<char, 8192> unwritten{};
std::size_t unwritten_size = 0;

// Threads note one after another. A child that was forked meanwhile would wait for a thread that it
// does not have, so nobody waits for ever.
class Turn {
public:
    Turn() {
        for (int tries = 0; tries < most_tries && !is_own; ++tries) {
            is_own = !taken.test_and_set();
            if (!is_own) {
                sched_yield();
            }
        }
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() {
        if (is_own) {
            taken.clear();
        }
    }

    bool has_come() const { return is_own; }

private:
    static constexpr int most_tries = 100000;
    static std::atomic_flag taken;
    bool is_own = false;
};

std::atomic_flag Turn::taken = ATOMIC_FLAG_INIT;

int chosen_mutant() {
    if (chosen == not_read) {
        log_name = std::getenv("ZEPHRAN_MUTANT_LOG");
        const char* number = std::getenv("ZEPHRAN_MUTANT");
        chosen = number != nullptr ? std::atoi(number) : none;
    }
    return chosen;
}

// One write, so that lines of several processes do not mix.
void write_notes() {
    const int file = open(log_name, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (file == -1) {
        return;
    }
    const ssize_t written = write(file, unwritten.data(), unwritten_size);
    close(file);
    if (written > 0) {
        const auto* const rest = unwritten.data() + written;
        unwritten_size -= static_cast<std::size_t>(written);
        std::memmove(unwritten.data(), rest, unwritten_size);
    }
}

struct WritesLastNotes {
    ~WritesLastNotes() {
        if (unwritten_size != 0) {
            write_notes();
        }
    }
} writes_last_notes;

void note(int number) {
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    const void* mark = test != nullptr ? static_cast<const void*>(test) : &chosen;
    const Turn turn;
    if (!turn.has_come()) {
        return;
    }
    const void*& last = last_test.at(static_cast<std::size_t>(number) % last_test.size());
    if (last == mark) {
        return;
    }
    last = mark;
    const std::size_t room = unwritten.size() - unwritten_size;
    const int size = std::snprintf(unwritten.data() + unwritten_size, room, "%d %s.%s\n", number,
                                   test != nullptr ? test->test_suite_name() : "",
                                   test != nullptr ? test->name() : "");
    if (static_cast<std::size_t>(size) < room) {
        unwritten_size += static_cast<std::size_t>(size);
    }
    write_notes();
}

}  // namespace

bool zephran_mutant(int number) {
    // The code around it reads errno.
    const int error = errno;
    const int wanted = chosen_mutant();
    if (wanted == none && log_name != nullptr) {
        note(number);
    }
    errno = error;
    return number == wanted;
}
