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

/// The streams get their own buffers back at the end of the process, when they are flushed once
/// more.
class SilentLog {
public:
    SilentLog() : output{std::cout.rdbuf(&discarded)}, errors{std::cerr.rdbuf(&discarded)} {}
    SilentLog(const SilentLog&) = delete;
    SilentLog& operator=(const SilentLog&) = delete;
    ~SilentLog() {
        std::cout.rdbuf(output);
        std::cerr.rdbuf(errors);
    }

private:
    Discarded discarded;
    std::streambuf* output;
    std::streambuf* errors;
};

}  // namespace

void require(bool holds, const char* sentence) {
    if (!holds) {
        static_cast<void>(std::fprintf(stderr, "DOES NOT HOLD: %s\n", sentence));
        std::abort();
    }
}

}  // namespace zephran::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const zephran::fuzz::SilentLog silent_log;
    zephran::fuzz::try_input({data, size});
    return 0;
}
