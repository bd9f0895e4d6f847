// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "installer/code_of.h"

/// Numbers that tell an operator, and the search of the update server, what kind of failure ended a
/// deployment. A failure of the protocol, of libcurl or of a program keeps the number that those
/// gave it, in a range of its own.
namespace zephran::failure_code {

/// An HTTP status stands for itself.
inline constexpr int curl = 1000;         ///< plus libcurl's result code
inline constexpr int exit_status = 2000;  ///< plus the exit status of a program
/// Plus the signal that ended a program, also where a shell tells of it as status 128 + signal.
inline constexpr int signal = 3000;
inline constexpr int other = 4000;
inline constexpr int checksum = 4001;    ///< an artifact, or what was written to a chip
inline constexpr int space = 4002;       ///< too little of it
inline constexpr int name = 4003;        ///< an artifact's file name
inline constexpr int part = 4004;        ///< nothing here installs that part type
inline constexpr int version = 4005;     ///< not the expected one after the installation
inline constexpr int time_limit = 4006;  ///< of an installation

}  // namespace zephran::failure_code
