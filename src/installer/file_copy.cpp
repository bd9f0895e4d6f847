// SPDX-License-Identifier: Apache-2.0
#include "installer/file_copy.h"

#include <fstream>

#include "common/exception.h"

namespace zephran::installer {

void copy_file(const std::string& source, const std::string& destination) {
    std::ifstream input{source, std::ios::binary};
    if (!input) {
        BOOST_THROW_EXCEPTION(common::InputFileOpenException{} << common::filename_tag{source});
    }
    std::ofstream output{destination, std::ios::binary | std::ios::trunc};
    if (!output) {
        BOOST_THROW_EXCEPTION(common::OutputFileOpenException{}
                              << common::filename_tag{destination});
    }
    // Inserting an empty buffer would set the failure bit of the output stream.
    if (input.peek() != std::ifstream::traits_type::eof()) {
        output << input.rdbuf();
    }
    output.flush();
    if (!output) {
        BOOST_THROW_EXCEPTION(common::FileWriteException{} << common::filename_tag{destination});
    }
    if (!input) {
        BOOST_THROW_EXCEPTION(common::FileReadException{} << common::filename_tag{source});
    }
}

}  // namespace zephran::installer
