#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "attribute.h"
#include "frame.h"
#include "protocol.h"
#include "registry.h"

namespace zephran::ubusd {

/// Who sent a frame, as the kernel vouches for it.
struct Sender {
    ClientId id;
    std::string user;
    std::string group;
};

/// Answers what clients ask of the bus, and passes calls, answers and events on between them.
class Broker {
public:
    /// Hands a frame to a client; one that is not connected any more does not matter.
    using Deliver = std::function<void(ClientId, const Frame&)>;

    explicit Broker(Deliver deliver_frame);

    void handle(const Sender& sender, const Frame& frame);

    /// Frees the names of a client's objects and tells of their end.
    void forget(ClientId client);

private:
    void dispatch(const Sender& sender, const Frame& request);
    void add_object(const Sender& sender, const Frame& request);
    void remove_object(const Sender& sender, const Frame& request);
    void lookup(const Sender& sender, const Frame& request);
    void ping(const Sender& sender, const Frame& request);
    void invoke(const Sender& sender, const Frame& request);
    void listen(const Sender& sender, const Frame& request, const MessageAttributes& call);
    void forward_answer(const Sender& sender, const Frame& answer);

    void answer_data(const Sender& sender, const Frame& request, std::string payload);
    void answer_status(const Sender& sender, const Frame& request, Status status);
    void announce(const char* event, const Object& object);

    Deliver deliver;
    Registry registry;
    /// Objects that receive events, with the patterns of the events they want.
    std::multimap<ObjectId, std::string> listeners;
    std::uint16_t event_sequence = 0;
};

}  // namespace zephran::ubusd
