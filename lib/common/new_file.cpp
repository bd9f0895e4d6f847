// SPDX-License-Identifier: Apache-2.0
#include "common/new_file.h"

#include "common/own_file.h"

namespace zephran::common {

NewFile::NewFile(const std::string& path) : std::ostream{nullptr}, buffer{create_own_file(path)} {
    rdbuf(&buffer);
}

NewFile::Buffer::int_type NewFile::Buffer::overflow(int_type character) {
    const char byte = traits_type::to_char_type(character);
    return xsputn(&byte, 1) == 1 ? character : traits_type::eof();
}

std::streamsize NewFile::Buffer::xsputn(const char* data, std::streamsize length) {
    return static_cast<std::streamsize>(file.write(data, static_cast<std::size_t>(length)));
}

}  // namespace zephran::common
