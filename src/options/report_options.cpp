// SPDX-License-Identifier: Apache-2.0
#include "options/report_options.h"

#include "options/option_reader.h"

namespace zephran {

ReportOptions read_report_options(Config& config) {
    constexpr const char* section = "service";
    const OptionReader options{config, section};
    ReportOptions read;
    read.codes = options.flag("report_codes").value_or(false);
    read.retries = options.flag("report_retries").value_or(false);
    return read;
}

}  // namespace zephran
