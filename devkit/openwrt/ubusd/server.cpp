#include "server.h"

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <system_error>
#include <utility>

namespace zephran::ubusd {

namespace {

constexpr std::size_t stop_index = 0;
constexpr std::size_t listener_index = 1;
constexpr std::size_t first_client_index = 2;

}  // namespace

Server::Server(const std::string& socket_path)
    : listener{socket_path}, broker{[this](ClientId id, const Frame& frame) {
          const auto found = clients.find(id);
          if (found != clients.end()) {
              found->second->send(frame);
          }
      }} {}

void Server::run(int stop_descriptor) {
    for (;;) {
        std::vector<pollfd> ready = descriptors(stop_descriptor);
        if (::poll(ready.data(), ready.size(), -1) < 0) {
            if (errno != EINTR) {
                throw std::system_error{errno, std::generic_category(), "poll"};
            }
            continue;
        }
        if (ready[stop_index].revents != 0) {
            return;
        }
        serve_clients(ready);
        if (ready[listener_index].revents != 0) {
            accept_client();
        }
    }
}

std::vector<pollfd> Server::descriptors(int stop_descriptor) const {
    std::vector<pollfd> all;
    all.push_back({stop_descriptor, POLLIN, 0});
    all.push_back({accepting ? listener.descriptor() : -1, POLLIN, 0});
    for (const auto& [id, client] : clients) {
        const int events = client->wants_to_write() ? POLLIN | POLLOUT : POLLIN;
        all.push_back({client->descriptor(), static_cast<short>(events), 0});
    }
    return all;
}

void Server::accept_client() {
    UniqueFd connection = listener.accept();
    if (connection.get() < 0) {
        const int error = errno;
        accepting = error != EMFILE && error != ENFILE;
        if (!accepting) {
            std::cerr << "ubusd: no descriptor is left for another client\n";
        }
        return;
    }
    const ClientId id = random.unused(clients);
    clients.emplace(id, std::make_unique<Client>(std::move(connection), id));
}

void Server::serve_clients(const std::vector<pollfd>& ready) {
    std::map<ClientId, short> events;
    std::size_t index = first_client_index;
    for (const auto& [id, client] : clients) {
        events.emplace(id, ready[index].revents);
        ++index;
    }
    // Names of clients that have left are free for whatever the others asked for after that.
    for (const auto& [id, client] : clients) {
        while ((events.at(id) & POLLHUP) != 0 && !client->gone()) {
            receive_from(*client);
        }
    }
    remove_gone_clients();
    for (const auto& [id, client] : clients) {
        if ((events.at(id) & POLLOUT) != 0) {
            client->flush();
        }
        if ((events.at(id) & (POLLIN | POLLERR)) != 0) {
            receive_from(*client);
        }
    }
    remove_gone_clients();
}

void Server::receive_from(Client& client) {
    client.receive();
    while (const std::optional<Frame> frame = client.next_frame()) {
        broker.handle(client.sender(), *frame);
    }
}

void Server::remove_gone_clients() {
    const auto is_gone = [](const auto& entry) { return entry.second->gone(); };
    auto gone = std::find_if(clients.begin(), clients.end(), is_gone);
    while (gone != clients.end()) {
        const ClientId id = gone->first;
        clients.erase(gone);
        broker.forget(id);
        accepting = true;
        // Telling the others of the end may have been too much for one of them.
        gone = std::find_if(clients.begin(), clients.end(), is_gone);
    }
}

}  // namespace zephran::ubusd
