#include <cstdio>
#include <cstdlib>
#include <memory>

#include <unistd.h>

#include "api.h"
#include "commands.h"
#include "connection.h"

namespace zephran::ubus {

namespace {

/// The arguments of a call.
class Arguments {
public:
    Arguments() { blob_buf_init(&buffer, 0); }
    ~Arguments() { blob_buf_free(&buffer); }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    [[nodiscard]] bool add(const std::string& json) {
        return blobmsg_add_json_from_string(&buffer, json.c_str());
    }
    [[nodiscard]] blob_attr* attribute() { return buffer.head; }

private:
    blob_buf buffer{};
};

void print_reply(ubus_request* request, int /*type*/, blob_attr* message) {
    const auto& options = *static_cast<const Options*>(request->priv);
    const std::unique_ptr<char, decltype(&std::free)> text{
        blobmsg_format_json_indent(message, true, options.simple ? -1 : 0), &std::free};
    if (text != nullptr) {
        std::puts(text.get());
    }
}

/// People are told the reason alone; a log is told which call it was.
Failure call_failure(int status, const Options& options) {
    const bool terminal = ::isatty(STDERR_FILENO) == 1;
    const std::string reason = ubus_strerror(status);
    const std::string text = terminal ? reason
                                      : "ubus call " + options.arguments[0] + ' ' +
                                            options.arguments[1] + " (" + reason + ')';
    return {terminal || options.simple ? status : -status, "Command failed: " + text};
}

}  // namespace

void call(const Options& options) {
    const Connection connection = connect(options);
    std::uint32_t object = 0;
    const int found = ubus_lookup_id(connection.get(), options.arguments[0].c_str(), &object);
    if (found != UBUS_STATUS_OK) {
        throw failed(found);
    }
    Arguments arguments;
    if (options.arguments.size() > 2 && !arguments.add(options.arguments[2])) {
        throw call_failure(UBUS_STATUS_PARSE_ERROR, options);
    }
    Options priv = options;
    const int status =
        ubus_invoke(connection.get(), object, options.arguments[1].c_str(), arguments.attribute(),
                    print_reply, &priv, options.timeout_milliseconds);
    if (status != UBUS_STATUS_OK) {
        throw call_failure(status, options);
    }
}

}  // namespace zephran::ubus
