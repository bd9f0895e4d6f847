#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <poll.h>

#include "broker.h"
#include "client.h"
#include "listener.h"
#include "random_id.h"

namespace zephran::ubusd {

/// Serves all clients by turns, on one thread.
class Server {
public:
    /// @throws std::system_error when the socket cannot be listened on.
    explicit Server(const std::string& socket_path);

    /// @param stop_descriptor becomes readable when the server is to end.
    /// @throws std::system_error when waiting for clients fails.
    void run(int stop_descriptor);

private:
    [[nodiscard]] std::vector<pollfd> descriptors(int stop_descriptor) const;
    void accept_client();
    /// @param ready what descriptors() returned, with the answers of poll.
    void serve_clients(const std::vector<pollfd>& ready);
    void receive_from(Client& client);
    void remove_gone_clients();

    Listener listener;
    std::map<ClientId, std::unique_ptr<Client>> clients;
    Broker broker;
    RandomId random;
    /// Out of descriptors, nobody can be let in until somebody leaves.
    bool accepting = true;
};

}  // namespace zephran::ubusd
