// SPDX-License-Identifier: Apache-2.0
#include "installer/download_folder.h"

#include <vector>

#include "common/directory.h"
#include "common/exception.h"
#include "common/logprint.h"
#include "crypto/md5.h"
#include "platform.h"

namespace zephran {

namespace {

// No name with the one prefix has the other.
constexpr const char* prefix_of_ids = "agent-";
constexpr const char* prefix_of_sums = "target-";

bool begins_with(const std::string& text, const std::string& beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

bool fits_in_file_name(const std::string& id) {
    constexpr std::size_t longest = 200;
    // Spelled out because isalnum() depends on the locale.
    static const std::string safe =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";
    return !id.empty() && id.size() <= longest && id.find_first_not_of(safe) == std::string::npos;
}

std::string sum_of(const std::string& id) {
    constexpr const char* digits = "0123456789abcdef";
    constexpr unsigned base = 16;
    crypto::MD5 sum;
    sum.update(std::vector<std::uint8_t>{id.begin(), id.end()});
    std::string text;
    for (const std::uint8_t byte : sum.digest()) {
        text += digits[byte / base];
        text += digits[byte % base];
    }
    return text;
}

void require_own(const std::string& path) {
    const std::string reason = common::make_own_directory(path);
    if (!reason.empty()) {
        ZLOG_ERROR_AS("make_download_folder", "event", "download_dir_refused", "directory", path,
                      "what", reason);
        ZEPHRAN_THROW(common::OutputFileOpenException{} << common::filename_tag{path});
    }
}

}  // namespace

DownloadFolder::DownloadFolder(const std::string& download_directory, const std::string& target_id)
    : directory{download_directory},
      folder{directory + "/" +
             (fits_in_file_name(target_id) ? prefix_of_ids + target_id
                                           : prefix_of_sums + sum_of(target_id))} {}

std::string DownloadFolder::prefix() const {
    return is_shared() ? platform::get_temp_directory() : folder + "/";
}

void DownloadFolder::make() const {
    if (!is_shared()) {
        require_own(directory);
        require_own(folder);
    }
}

bool DownloadFolder::is_name(const std::string& name) {
    return begins_with(name, prefix_of_ids) || begins_with(name, prefix_of_sums);
}

}  // namespace zephran
