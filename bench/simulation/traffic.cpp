// SPDX-License-Identifier: Apache-2.0
#include "traffic.h"

#include <algorithm>
#include <numeric>

namespace zephran::simulation {

std::uint32_t Traffic::count(Milliseconds since_start) {
    const auto second = static_cast<std::size_t>(since_start.count() / 1000);
    return second < requests_.size() ? ++requests_[second] : 0;
}

Traffic::Peak Traffic::peak(std::size_t begin, std::size_t end) const {
    Peak found;
    for (std::size_t second = begin; second < std::min(end, requests_.size()); ++second) {
        if (requests_[second] > found.requests) {
            found = {requests_[second], second};
        }
    }
    return found;
}

double Traffic::mean(std::size_t begin, std::size_t end) const {
    const auto first = requests_.begin() + static_cast<std::ptrdiff_t>(begin);
    const auto last =
        requests_.begin() + static_cast<std::ptrdiff_t>(std::min(end, requests_.size()));
    const auto sum = std::accumulate(first, last, std::uint64_t{0});
    return static_cast<double>(sum) / static_cast<double>(last - first);
}

}  // namespace zephran::simulation
