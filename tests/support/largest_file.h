// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace zephran {

/// Makes a write beyond this size fail, as a full file system does.
class LargestFile {
public:
    explicit LargestFile(rlim_t bytes) {
        EXPECT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
        const rlimit limit{bytes, before.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
        handler = std::signal(SIGXFSZ, SIG_IGN);
    }
    ~LargestFile() {
        ::setrlimit(RLIMIT_FSIZE, &before);
        static_cast<void>(std::signal(SIGXFSZ, handler));
    }
    LargestFile(const LargestFile&) = delete;
    LargestFile& operator=(const LargestFile&) = delete;

private:
    rlimit before{};
    void (*handler)(int) = nullptr;
};

}  // namespace zephran
