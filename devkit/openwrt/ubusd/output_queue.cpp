#include "output_queue.h"

#include <cerrno>
#include <utility>

#include <sys/socket.h>

namespace zephran::ubusd {

bool OutputQueue::add(std::string bytes) {
    if (closed) {
        return true;
    }
    if (size + bytes.size() > largest_size) {
        return false;
    }
    size += bytes.size();
    parts.push_back(std::move(bytes));
    return true;
}

void OutputQueue::flush(int socket) {
    while (!parts.empty()) {
        const std::string& part = parts.front();
        const ssize_t sent = ::send(socket, part.data() + written, part.size() - written,
                                    MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) {
            if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR || errno == ENOBUFS) {
                return;
            }
            closed = true;
            parts.clear();
            return;
        }
        written += static_cast<std::size_t>(sent);
        if (written == part.size()) {
            size -= part.size();
            written = 0;
            parts.pop_front();
        }
    }
}

}  // namespace zephran::ubusd
