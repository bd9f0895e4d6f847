#include "options.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <map>
#include <utility>

#include <unistd.h>

#include "failure.h"

namespace zephran::ubus {

namespace {

constexpr std::size_t any_number = std::numeric_limits<std::size_t>::max();

/// Fewest and most arguments of each command.
const std::map<std::string, std::pair<std::size_t, std::size_t>> commands{
    {"list", {0, 1}},
    {"call", {2, 3}},
    {"wait_for", {1, any_number}},
    {"listen", {0, any_number}},
};

int milliseconds(const char* seconds) {
    constexpr long factor = 1000;
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(seconds, &end, 10);
    if (end == seconds || *end != '\0' || errno != 0 || number < 0 ||
        number > std::numeric_limits<int>::max() / factor) {
        throw UsageError{};
    }
    return static_cast<int>(number * factor);
}

void check(const Options& options) {
    const auto found = commands.find(options.command);
    if (found == commands.end() || options.arguments.size() < found->second.first ||
        options.arguments.size() > found->second.second) {
        throw UsageError{};
    }
}

}  // namespace

Options parse_options(int argc, char* argv[]) {
    Options options;
    int option = 0;
    while ((option = ::getopt(argc, argv, "s:t:Sv")) != -1) {
        switch (option) {
            case 's':
                options.socket = optarg;
                break;
            case 't':
                options.timeout_milliseconds = milliseconds(optarg);
                break;
            case 'S':
                options.simple = true;
                break;
            case 'v':
                options.verbose = true;
                break;
            default:
                throw UsageError{};
        }
    }
    if (optind == argc) {
        throw UsageError{};
    }
    options.command = argv[optind];
    options.arguments.assign(argv + optind + 1, argv + argc);
    check(options);
    return options;
}

}  // namespace zephran::ubus
