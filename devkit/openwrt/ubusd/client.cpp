#include "client.h"

#include <array>
#include <cerrno>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>

#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>

namespace zephran::ubusd {

namespace {

std::string user_name(uid_t uid) {
    const passwd* const entry = ::getpwuid(uid);
    return entry == nullptr ? std::to_string(uid) : entry->pw_name;
}

std::string group_name(gid_t gid) {
    const group* const entry = ::getgrgid(gid);
    return entry == nullptr ? std::to_string(gid) : entry->gr_name;
}

Sender identify(int socket, ClientId id) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        throw std::system_error{errno, std::generic_category(), "SO_PEERCRED"};
    }
    return {id, user_name(credentials.uid), group_name(credentials.gid)};
}

}  // namespace

Client::Client(UniqueFd connection, ClientId id)
    : socket{std::move(connection)}, identity{identify(socket.get(), id)} {
    send({MessageType::hello, 0, id, {}});
}

void Client::send(const Frame& frame) {
    if (finished) {
        return;
    }
    if (!output.add(encode(frame))) {
        disconnect("it does not read what it is sent");
        return;
    }
    flush();
}

void Client::flush() {
    output.flush(socket.get());
}

void Client::receive() {
    std::array<char, 65536> bytes{};
    const ssize_t received = ::recv(socket.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (received > 0) {
        input.append({bytes.data(), static_cast<std::size_t>(received)});
    } else if (received == 0 || (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) {
        finished = true;
    }
}

std::optional<Frame> Client::next_frame() {
    if (finished) {
        return std::nullopt;
    }
    try {
        return input.next();
    } catch (const FramingError& error) {
        disconnect(("it sent a frame of length " + std::to_string(error.length)).c_str());
        return std::nullopt;
    }
}

void Client::disconnect(const char* reason) {
    finished = true;
    std::ostringstream line;
    line << "ubusd: client " << std::hex << std::setfill('0') << std::setw(8) << identity.id
         << " disconnected: " << reason << '\n';
    std::cerr << line.str();
}

}  // namespace zephran::ubusd
