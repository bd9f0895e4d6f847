#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <poll.h>

#include "api.h"
#include "commands.h"
#include "connection.h"

namespace zephran::ubus {

namespace {

using Clock = std::chrono::steady_clock;

/// An event handler that names are still waited for with.
struct Waiting {
    /// The library hands this back, so it has to be the first member.
    ubus_event_handler handler{};
    std::set<std::string> names;
};

void object_added(ubus_context* /*context*/, ubus_event_handler* handler, const char* /*event*/,
                  blob_attr* message) {
    constexpr blobmsg_policy policy{"path", BLOBMSG_TYPE_STRING};
    blob_attr* path = nullptr;
    blobmsg_parse(&policy, 1, &path, blob_data(message), static_cast<unsigned>(blob_len(message)));
    if (path != nullptr) {
        reinterpret_cast<Waiting*>(handler)->names.erase(blobmsg_get_string(path));
    }
}

void print_event(ubus_context* /*context*/, ubus_event_handler* /*handler*/, const char* event,
                 blob_attr* message) {
    const std::unique_ptr<char, decltype(&std::free)> text{blobmsg_format_json(message, true),
                                                           &std::free};
    std::printf("{ \"%s\": %s }\n", event, text == nullptr ? "" : text.get());
    // A failure stays noted in the stream, and is looked at where there is somebody to tell.
    (void)std::fflush(stdout);
}

void subscribe(ubus_context& context, ubus_event_handler& handler, const std::string& pattern) {
    const int status = ubus_register_event_handler(&context, &handler, pattern.c_str());
    if (status != UBUS_STATUS_OK) {
        throw failed(status);
    }
}

/// The library takes the usual signals so that a loop can end on them. Here is no loop.
void let_signals_end_the_process() {
    (void)std::signal(SIGINT, SIG_DFL);
    (void)std::signal(SIGTERM, SIG_DFL);
}

int milliseconds_until(const std::optional<Clock::time_point>& deadline) {
    if (!deadline) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
    return left.count() < 0 ? 0 : static_cast<int>(left.count());
}

/// Waits for one more message.
void dispatch(ubus_context& context, const std::optional<Clock::time_point>& deadline) {
    pollfd descriptor{context.sock.fd, POLLIN, 0};
    const int ready = ::poll(&descriptor, 1, milliseconds_until(deadline));
    if (ready < 0 && errno != EINTR) {
        throw failed(UBUS_STATUS_SYSTEM_ERROR);
    }
    if (ready == 0) {
        throw failed(UBUS_STATUS_TIMEOUT);
    }
    if (ready > 0) {
        ubus_handle_event(&context);
    }
    if (context.sock.eof) {
        throw failed(UBUS_STATUS_CONNECTION_FAILED);
    }
}

}  // namespace

void wait_for(const Options& options) {
    std::optional<Clock::time_point> deadline;
    if (options.timeout_milliseconds != 0) {
        deadline = Clock::now() + std::chrono::milliseconds{options.timeout_milliseconds};
    }
    Waiting waiting;
    waiting.handler.cb = object_added;
    waiting.names.insert(options.arguments.begin(), options.arguments.end());
    const Connection connection = connect(options);
    let_signals_end_the_process();
    // In this order no object can appear unnoticed between the two.
    subscribe(*connection, waiting.handler, "ubus.object.add");
    for (const std::string& name : options.arguments) {
        std::uint32_t id = 0;
        if (ubus_lookup_id(connection.get(), name.c_str(), &id) == UBUS_STATUS_OK) {
            waiting.names.erase(name);
        }
    }
    while (!waiting.names.empty()) {
        dispatch(*connection, deadline);
    }
}

void listen(const Options& options) {
    ubus_event_handler handler{};
    handler.cb = print_event;
    const Connection connection = connect(options);
    let_signals_end_the_process();
    const std::vector<std::string> everything{"*"};
    for (const std::string& pattern : options.arguments.empty() ? everything : options.arguments) {
        subscribe(*connection, handler, pattern);
    }
    while (std::ferror(stdout) == 0) {
        dispatch(*connection, std::nullopt);
    }
}

}  // namespace zephran::ubus
