// SPDX-License-Identifier: Apache-2.0
#include "options/bus_options.h"

#include "options/option_reader.h"

namespace zephran {

bool read_bus_extended(Config& config) {
    constexpr const char* section = "service";
    return OptionReader{config, section}.flag("bus_extended").value_or(false);
}

}  // namespace zephran
