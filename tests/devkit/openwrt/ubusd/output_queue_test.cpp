#include "output_queue.h"

#include <array>
#include <string>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace zephran::ubusd {

namespace {

struct SocketPair {
    SocketPair() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()),
                  0);
        near = ends[0];
        far = ends[1];
    }
    ~SocketPair() {
        ::close(near);
        close_far();
    }
    SocketPair(const SocketPair&) = delete;
    SocketPair& operator=(const SocketPair&) = delete;

    void close_far() {
        if (far >= 0) {
            ::close(far);
            far = -1;
        }
    }

    /// Everything that has arrived.
    std::string read() const {
        std::string all;
        std::array<char, 65536> buffer{};
        ssize_t size = 0;
        while ((size = ::read(far, buffer.data(), buffer.size())) > 0) {
            all.append(buffer.data(), static_cast<std::size_t>(size));
        }
        return all;
    }

    int near = -1;
    int far = -1;
};

TEST(OutputQueue, SendsInOrderWhatASlowReaderLeavesRoomFor) {
    const SocketPair sockets;
    OutputQueue queue;
    const std::string first(1000000, 'a');
    const std::string second(1000000, 'b');
    std::string received;

    ASSERT_TRUE(queue.add(first));
    ASSERT_TRUE(queue.add(second));
    while (!queue.empty()) {
        queue.flush(sockets.near);
        received += sockets.read();
    }

    EXPECT_TRUE(received == first + second);
}

TEST(OutputQueue, RefusesWhatWouldNotFit) {
    OutputQueue queue;

    EXPECT_TRUE(queue.add(std::string(OutputQueue::largest_size, 'a')));
    EXPECT_FALSE(queue.add("b"));
}

TEST(OutputQueue, HasRoomAgainForWhatWasSent) {
    const SocketPair sockets;
    OutputQueue queue;
    ASSERT_TRUE(queue.add("a"));
    queue.flush(sockets.near);

    EXPECT_TRUE(queue.empty());
    EXPECT_TRUE(queue.add(std::string(OutputQueue::largest_size, 'b')));
}

TEST(OutputQueue, DropsEverythingOnceTheReaderHasGone) {
    SocketPair sockets;
    OutputQueue queue;
    sockets.close_far();

    ASSERT_TRUE(queue.add("a"));
    queue.flush(sockets.near);

    EXPECT_TRUE(queue.empty());
    EXPECT_TRUE(queue.add(std::string(OutputQueue::largest_size + 1, 'b')));
    EXPECT_TRUE(queue.empty());
}

}  // namespace

}  // namespace zephran::ubusd
