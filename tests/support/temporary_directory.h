// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

namespace zephran {

/// A directory of one test's own, removed with everything in it.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string name =
            (std::filesystem::temp_directory_path() / "zephran-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::filesystem::filesystem_error{
                "mkdtemp", name, std::error_code{errno, std::generic_category()}};
        }
        root = name;
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }

    /// Path of a file or directory in it, which need not exist.
    [[nodiscard]] std::string path(const std::string& name = {}) const {
        return name.empty() ? root.string() : (root / name).string();
    }
    /// Writes a file and returns its path; missing directories are made.
    std::string write(const std::string& name, const std::string& text) const {
        std::filesystem::create_directories((root / name).parent_path());
        std::ofstream file{root / name, std::ios::binary};
        file << text;
        file.close();
        if (!file) {
            throw std::filesystem::filesystem_error{"write", root / name,
                                                    std::make_error_code(std::errc::io_error)};
        }
        return path(name);
    }
    /// The text of a file, "" when there is none.
    [[nodiscard]] std::string read(const std::string& name) const {
        std::ifstream file{root / name, std::ios::binary};
        return {std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
    }
    [[nodiscard]] bool has(const std::string& name) const {
        return std::filesystem::exists(root / name);
    }

private:
    std::filesystem::path root;
};

}  // namespace zephran
