#pragma once

#include <cstddef>
#include <deque>
#include <string>

namespace zephran::ubusd {

/// What a client has not taken yet.
class OutputQueue {
public:
    /// Room for several of the largest frames; more waits only for a client that does not read.
    static constexpr std::size_t largest_size = std::size_t{16} * 1048576;

    /// @return false when the client is too far behind; nothing was added.
    [[nodiscard]] bool add(std::string bytes);

    /// Writes as much as the socket takes without waiting. A client that closed its end gets no
    /// more, which is no error: what it sent before is still to be read.
    void flush(int socket);

    [[nodiscard]] bool empty() const { return parts.empty(); }

private:
    std::deque<std::string> parts;
    std::size_t size = 0;
    /// Bytes of the first part that are written already.
    std::size_t written = 0;
    bool closed = false;
};

}  // namespace zephran::ubusd
