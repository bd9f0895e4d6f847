// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "config.h"
#include "uci/exceptions.h"

namespace zephran {

/// A configuration store in memory. It follows the rules of the real one and fails on demand.
class MemoryConfig : public Config {
public:
    MemoryConfig() = default;
    explicit MemoryConfig(std::map<std::string, std::string> initial)
        : values{std::move(initial)} {}

    [[nodiscard]] bool has_option(const std::string& key) override {
        note_read(key);
        return is_set(key);
    }

    [[nodiscard]] std::string get_option(const std::string& key) override {
        note_read(key);
        if (unreadable_keys.count(key) != 0) {
            PackageNotFoundException error;
            error.unreadable = true;
            ZEPHRAN_THROW(error << config_key_tag{key});
        }
        if (!is_set(key)) {
            ZEPHRAN_THROW(PackageNotFoundException{} << config_key_tag{key});
        }
        const std::string value = values.at(key);
        if (read_once_keys.count(key) != 0) {
            values.erase(key);
        }
        return value;
    }

    [[nodiscard]] bool set_option(const std::string& key, const std::string& value) override {
        writes.emplace_back(key, value);
        if (!is_writable(key)) {
            return false;
        }
        if (lost_writes > 0) {
            --lost_writes;
            return true;
        }
        if (value.empty()) {
            return values.erase(key) != 0;
        }
        values[key] = value;
        return true;
    }

    [[nodiscard]] bool delete_option(const std::string& key) override {
        writes.emplace_back(key, std::string{});
        return is_writable(key) && values.erase(key) != 0;
    }

    /// Every key that was read, in order and including missing ones.
    [[nodiscard]] std::vector<std::string> reads() const {
        const std::lock_guard<std::mutex> lock{reads_mutex};
        return read_keys;
    }

    std::map<std::string, std::string> values;
    /// Every attempt to write, in order and including failed ones; a deletion has an empty value.
    std::vector<std::pair<std::string, std::string>> writes;
    /// Keys that cannot be written, as if their section did not exist.
    std::set<std::string> read_only_keys;
    /// Keys that cannot be read, as if their file did not parse.
    std::set<std::string> unreadable_keys;
    /// Keys whose value disappears once it has been read, as if somebody had deleted it.
    std::set<std::string> read_once_keys;
    /// So many further writes are lost although they seem to succeed, as if another program had
    /// committed at the same time.
    unsigned lost_writes = 0;
    /// All writes fail, as if the file system were full.
    bool read_only = false;
    /// All reads and writes fail, as if the library were missing.
    bool unavailable = false;

private:
    [[nodiscard]] bool is_set(const std::string& key) const {
        return !unavailable && values.count(key) != 0;
    }

    void note_read(const std::string& key) {
        const std::lock_guard<std::mutex> lock{reads_mutex};
        read_keys.push_back(key);
    }

    [[nodiscard]] bool is_writable(const std::string& key) const {
        return !unavailable && !read_only && read_only_keys.count(key) == 0;
    }

    // Discovery reads on a thread of its own.
    mutable std::mutex reads_mutex;
    std::vector<std::string> read_keys;
};

}  // namespace zephran
