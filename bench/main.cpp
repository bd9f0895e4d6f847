// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include <boost/exception/diagnostic_information.hpp>
#include <boost/lexical_cast.hpp>

#include "cpu_benchmarks.h"
#include "file_benchmarks.h"
#include "loop_benchmarks.h"
#include "transfer_benchmarks.h"

namespace zephran::bench {
namespace {

constexpr const char* usage =
    "Usage: zephran_bench download URL FILE CA_BUNDLE   prints the peak memory in kB\n"
    "       zephran_bench md5 FILE                      prints the sum\n"
    "       zephran_bench sha256 FILE                   prints the sum\n"
    "       zephran_bench resume URL FILE CA_BUNDLE SIZE SHA256\n"
    "                                                   prints the peak memory in kB\n"
    "       zephran_bench poll URL CA_BUNDLE TIMES      each with a full handshake\n"
    "       zephran_bench poll-again URL CA_BUNDLE TIMES\n"
    "                                                   each resumes the TLS session\n"
    "       zephran_bench empty-loop TURNS              prints the ns of one\n"
    "       zephran_bench disabled-log TURNS            prints the ns of one\n"
    "       zephran_bench idle-tick TICKS               prints the ns of one\n"
    "       zephran_bench loop AGENTS ITERATIONS        prints the ns of one\n"
    "       zephran_bench pass MILLISECONDS             prints the ns of the longest iteration\n";

bool print_measurement(const std::vector<std::string>& words) {
    const auto is_call = [&words](const char* name, std::size_t arguments) {
        return words.size() == arguments + 1 && words[0] == name;
    };
    const auto count = [&words](std::size_t place = 1) {
        return boost::lexical_cast<std::uint64_t>(words[place]);
    };
    if (is_call("download", 3)) {
        std::cout << download(words[1], words[2], words[3]) << '\n';
    } else if (is_call("md5", 1)) {
        std::cout << md5_of(words[1]) << '\n';
    } else if (is_call("sha256", 1)) {
        std::cout << sha256_of(words[1]) << '\n';
    } else if (is_call("resume", 5)) {
        const auto size = boost::lexical_cast<std::int32_t>(words[4]);
        std::cout << resuming_download({words[1], words[2], words[3], size, words[5]}) << '\n';
    } else if (is_call("poll", 3) || is_call("poll-again", 3)) {
        poll(words[1], words[2], count(3), words[0] == "poll-again");
    } else if (is_call("empty-loop", 1)) {
        std::cout << empty_loop(count()) << '\n';
    } else if (is_call("disabled-log", 1)) {
        std::cout << disabled_log(count()) << '\n';
    } else if (is_call("idle-tick", 1)) {
        std::cout << idle_tick(count()) << '\n';
    } else if (is_call("loop", 2)) {
        std::cout << loop_iteration(count(), count(2)) << '\n';
    } else if (is_call("pass", 1)) {
        std::cout << longest_iteration_during_pass(std::chrono::milliseconds{count()}) << '\n';
    } else {
        return false;
    }
    return true;
}

int run(const std::vector<std::string>& words) {
    try {
        if (print_measurement(words)) {
            return EXIT_SUCCESS;
        }
        std::cerr << usage;
    } catch (const std::exception& error) {
        std::cerr << "Error: " << boost::diagnostic_information(error) << '\n';
    }
    return EXIT_FAILURE;
}

}  // namespace
}  // namespace zephran::bench

int main(int argc, char* argv[]) {
    return zephran::bench::run({argv + 1, argv + argc});
}
