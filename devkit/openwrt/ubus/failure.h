#pragma once

#include <exception>
#include <string>
#include <utility>

namespace zephran::ubus {

/// Ends the command.
class Failure : public std::exception {
public:
    /// @param status for the shell, which sees its lowest eight bits.
    Failure(int status, std::string text) : exit_status{status}, message{std::move(text)} {}

    [[nodiscard]] const char* what() const noexcept override { return message.c_str(); }
    [[nodiscard]] int status() const noexcept { return exit_status; }

private:
    int exit_status;
    std::string message;
};

/// The command line says nothing that can be done.
struct UsageError : std::exception {
    [[nodiscard]] const char* what() const noexcept override { return "Wrong command line"; }
};

}  // namespace zephran::ubus
