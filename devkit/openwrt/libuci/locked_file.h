// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zephran::uci_standin {

/// An open file under an flock(2) lock, both of which end with the object.
class LockedFile {
public:
    enum class Mode { read, read_write, append };

    /// Waits for the lock, shared for reading and exclusive otherwise. If the file is replaced
    /// while waiting, the lock is on the old one, and its old text is read: that is how values get
    /// lost on a device.
    ///
    /// @throws Failure not_found when there is no regular file to read (the other modes create it),
    ///         io_error
    LockedFile(const std::string& file_path, Mode mode);
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;
    ~LockedFile();

    /// @throws Failure io_error, as do the others
    [[nodiscard]] std::string read_all() const;
    void write_all(const std::string& text) const;
    void truncate() const;
    /// Puts a new file with this text in the place of this one, of which readers see either the
    /// old or the new text; symbolic links are followed, owner and permissions kept.
    /// The lock ends before that.
    void replace_with(const std::string& text);

private:
    void open_and_lock(Mode mode);
    void close_once();

    std::string path;
    int descriptor = -1;
};

}  // namespace zephran::uci_standin
