#pragma once

#include "options.h"

namespace zephran::ubus {

/// Each prints to the standard output what the bus says.
/// @throws Failure with the text and exit status that the command ends with.

/// Objects by name; with verbose also their methods with the types of the arguments.
void list(const Options& options);

/// Calls a method and prints each reply.
void call(const Options& options);

/// Returns once there is an object of each of the names.
void wait_for(const Options& options);

/// Prints events until the process is ended or nobody takes them any more.
void listen(const Options& options);

}  // namespace zephran::ubus
