#pragma once

#include <cstddef>
#include <cstdint>

// Not all of these headers say themselves that they belong to C.
extern "C" {
#include <libubox/blobmsg_json.h>
#include <libubus.h>
}
