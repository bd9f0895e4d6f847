#pragma once

#include <cstdint>
#include <random>

#include "protocol.h"

namespace zephran::ubusd {

/// Random, so that nobody comes to rely on an identifier that outlives its owner.
class RandomId {
public:
    /// @param taken anything with `count(id)` that knows the identifiers in use.
    template <class Container>
    std::uint32_t unused(const Container& taken) {
        std::uint32_t id = distribution(engine);
        while (id == mirrored_one || taken.count(id) != 0) {
            id = distribution(engine);
        }
        return id;
    }

private:
    /// Clients keep their identifier byte-reversed and refuse one that then reads 1.
    static constexpr std::uint32_t mirrored_one = 0x01000000U;

    std::mt19937 engine{std::random_device{}()};
    std::uniform_int_distribution<std::uint32_t> distribution{first_free_id};
};

}  // namespace zephran::ubusd
