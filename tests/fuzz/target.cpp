// SPDX-License-Identifier: Apache-2.0
#include "fuzz/target.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <streambuf>

namespace zephran::fuzz {

namespace {

/// The log is rendered and thrown away.
class Discarded : public std::streambuf {
protected:
    int_type overflow(int_type character) override { return traits_type::not_eof(character); }
    std::streamsize xsputn(const char* /*text*/, std::streamsize size) override { return size; }
};

void discard_log() {
    static Discarded discarded;
    std::cout.rdbuf(&discarded);
    std::cerr.rdbuf(&discarded);
}

}  // namespace

void require(bool holds, const char* sentence) {
    if (!holds) {
        static_cast<void>(std::fprintf(stderr, "DOES NOT HOLD: %s\n", sentence));
        std::abort();
    }
}

}  // namespace zephran::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zephran::fuzz::discard_log();
    zephran::fuzz::try_input({data, size});
    return 0;
}
