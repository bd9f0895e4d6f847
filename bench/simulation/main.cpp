// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include <boost/exception/diagnostic_information.hpp>
#include <boost/lexical_cast.hpp>

#include "common/logprint.h"
#include "scenarios.h"
#include "tick_cost.h"

namespace {

constexpr const char* usage =
    "Usage: zephran_fleet traffic GATEWAYS [TEXT]   requests at the server, as CSV, of the\n"
    "                                               scenarios whose name contains the text\n"
    "       zephran_fleet cost AGENTS ...           what so many agents in a process cost, as "
    "CSV\n";

bool print(const std::vector<std::string>& words) {
    using boost::lexical_cast;
    if (words.size() >= 2 && words.size() <= 3 && words[0] == "traffic") {
        zephran::simulation::play_scenarios(std::cout, lexical_cast<std::size_t>(words[1]),
                                            words.size() == 3 ? words[2] : "");
    } else if (words.size() >= 2 && words[0] == "cost") {
        std::cout << "agents,step_ns,poll_ns,bytes\n";
        for (auto word = words.begin() + 1; word != words.end(); ++word) {
            zephran::simulation::write_cost(std::cout, lexical_cast<std::size_t>(*word));
        }
    } else {
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char* argv[]) {
    zephran::set_log_level("ERROR");
    // Millions of polls fail.
    std::streambuf* const shown = std::cerr.rdbuf(nullptr);
    std::string fault = usage;
    try {
        if (print({argv + 1, argv + argc})) {
            return EXIT_SUCCESS;
        }
    } catch (const std::exception& error) {
        fault = "Error: " + boost::diagnostic_information(error) + '\n';
    }
    std::cerr.rdbuf(shown);
    std::cerr << fault;
    return EXIT_FAILURE;
}
