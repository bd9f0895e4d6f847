// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <utility>

namespace zephran::common {

/// A value that one thread replaces while others read it. Readers get an immutable snapshot that
/// stays valid as long as they hold it; neither side ever waits for what the other does with it.
template <class T>
class Published {
public:
    /// There is no value until the first publish().
    Published() = default;
    explicit Published(T value) { publish(std::move(value)); }
    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;
    ~Published() = default;

    void publish(T value) {
        std::atomic_store(&current,
                          std::shared_ptr<const T>{std::make_shared<T>(std::move(value))});
    }
    /// Removes the value. Snapshots that readers hold stay valid.
    void withdraw() { std::atomic_store(&current, std::shared_ptr<const T>{}); }

    /// Removes the value and returns it, or null: no later one is lost.
    [[nodiscard]] std::shared_ptr<const T> take() {
        return std::atomic_exchange(&current, std::shared_ptr<const T>{});
    }

    /// What was published last, or null.
    [[nodiscard]] std::shared_ptr<const T> read() const { return std::atomic_load(&current); }

private:
    std::shared_ptr<const T> current;
};

}  // namespace zephran::common
