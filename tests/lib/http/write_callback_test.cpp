// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdlib>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "http/httpclient_curl.h"

namespace {

bool memory_is_short = false;

}  // namespace

// These serve the whole process, hence a process of its own. Where only one of a pair is inlined,
// g++ warns that memory of operator new is freed.
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* const memory = memory_is_short ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc{};
    }
    return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace zephran::http {
namespace {

TEST(CurlCallbacks, WriteStringRefusesWhatFindsNoMemory) {
    std::string text = "kept";
    std::array<char, 1000> data{};

    memory_is_short = true;
    const auto taken = CurlImpl::write_string_cb(data.data(), 1, data.size(), &text);
    memory_is_short = false;

    EXPECT_EQ(taken, 0U);
    EXPECT_EQ(text, "kept");
}

}  // namespace
}  // namespace zephran::http
