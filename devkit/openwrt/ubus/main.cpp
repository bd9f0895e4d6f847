#include <cstdio>
#include <exception>
#include <iostream>

#include "commands.h"
#include "failure.h"
#include "options.h"

namespace zephran::ubus {

namespace {

constexpr const char* usage =
    "Usage: ubus [-s socket] [-t seconds] [-S] [-v] list [path]\n"
    "       ubus [-s socket] [-t seconds] [-S] call path method [json]\n"
    "       ubus [-s socket] [-t seconds] wait_for name...\n"
    "       ubus [-s socket] listen [pattern...]\n";

void run(const Options& options) {
    if (options.command == "list") {
        list(options);
    } else if (options.command == "call") {
        call(options);
    } else if (options.command == "wait_for") {
        wait_for(options);
    } else {
        listen(options);
    }
}

}  // namespace

}  // namespace zephran::ubus

int main(int argc, char* argv[]) {
    namespace ubus = zephran::ubus;
    try {
        ubus::run(ubus::parse_options(argc, argv));
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
            throw ubus::Failure{1, "ubus: the output cannot be written"};
        }
    } catch (const ubus::UsageError&) {
        std::cerr << ubus::usage;
        return 1;
    } catch (const ubus::Failure& failure) {
        std::cerr << failure.what() << '\n';
        return failure.status();
    } catch (const std::exception& error) {
        std::cerr << "ubus: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
