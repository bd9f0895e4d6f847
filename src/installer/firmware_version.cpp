// SPDX-License-Identifier: Apache-2.0
#include "installer/firmware_version.h"

#include "common/popen.h"
#include "installer/exceptions.h"

namespace zephran::installer {

std::string get_installed_nevra_version(const std::string& version_file) {
    constexpr const char* white_space = " \t\n\v\f\r";
    const std::string command =
        ". " + version_file + "; echo -n ${FIRMWARE_VERSION}_${FIRMWARE_DATE}";
    std::string output;
    const int exit_code = common::POpen{command}.wait(output, 0);
    if (exit_code != 0) {
        ZEPHRAN_THROW(ProgramExecutionFailedException{} << common::popen_command_tag{command}
                                                        << common::program_exit_code_tag{exit_code}
                                                        << common::program_output_tag{output});
    }
    return output.substr(0, output.find_first_of(white_space));
}

}  // namespace zephran::installer
