// SPDX-License-Identifier: Apache-2.0
#include "common/exception.h"

namespace zephran::common {

namespace {

ZEPHRAN_REPORTED(filename);
ZEPHRAN_REPORTED(program_output);
ZEPHRAN_REPORTED(program_exit_code);

}  // namespace

void attach_place(const boost::exception& failure, const char* function, const char* file,
                  int line) {
    failure << boost::throw_function{function} << boost::throw_file{file}
            << boost::throw_line{line};
}

}  // namespace zephran::common
