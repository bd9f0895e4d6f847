#include "connection.h"

namespace zephran::ubus {

Connection connect(const Options& options) {
    constexpr int exit_status = 255;
    Connection connection{ubus_connect(options.socket ? options.socket->c_str() : nullptr),
                          &ubus_free};
    if (connection == nullptr) {
        throw Failure{exit_status, "Failed to connect to ubus"};
    }
    return connection;
}

Failure failed(int status) {
    return {status, std::string{"Command failed: "} + ubus_strerror(status)};
}

}  // namespace zephran::ubus
