// SPDX-License-Identifier: Apache-2.0
#include "uci/uci_config.h"

#include <memory>
#include <mutex>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "uci/exceptions.h"
#include "uci/uci_abi.h"
#include "uci/uci_library.h"

namespace zephran {

namespace {

/// Whether nobody but root and the user of this process can have put anything into the directory.
bool is_trustworthy(std::string directory) {
    // With a slash at the end, a symbolic link would be followed.
    while (directory.size() > 1 && directory.back() == '/') {
        directory.pop_back();
    }
    struct stat found {};
    if (lstat(directory.c_str(), &found) != 0 || !S_ISDIR(found.st_mode)) {
        return false;
    }
    const bool is_ours = found.st_uid == 0 || found.st_uid == geteuid();
    return is_ours && (found.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

/// libuci loses one of two concurrent commits without saying so.
std::mutex& write_mutex() {
    static std::mutex of_this_process;
    return of_this_process;
}

/// A resolved key, with everything that its pointers refer to.
class Lookup {
public:
    Lookup(const UciLibrary& bound_library, const std::string& delta_path,
           const std::function<void(void*)>& prepare_context, std::string key_text)
        : text{std::move(key_text)},
          context{bound_library.alloc_context(), bound_library.free_context} {
        if (context == nullptr) {
            return;
        }
        if (text.find('\0') != std::string::npos) {
            // The library would take it for the end, and read or store something else.
            result = UCI_ERR_NOTFOUND;
            return;
        }
        if (prepare_context) {
            prepare_context(context.get());
        }
        if (!delta_path.empty() && is_trustworthy(delta_path)) {
            bound_library.add_delta_path(context.get(), delta_path.c_str());
        }
        result = bound_library.lookup_ptr(context.get(), &pointer, text.data(), true);
    }

    [[nodiscard]] bool succeeded() const { return result == UCI_OK; }

    /// The lookup of a package or section is complete too.
    [[nodiscard]] bool is_option() const {
        return succeeded() && (pointer.flags & uci_ptr::UCI_LOOKUP_COMPLETE) != 0 &&
               pointer.o != nullptr;
    }

    /// False also when it is unknown whether the option exists.
    [[nodiscard]] bool is_missing() const {
        return result == UCI_ERR_NOTFOUND || (succeeded() && !is_option());
    }

    /// The option's value, or null when the key does not name a string option. A list has no text
    /// where a string has one.
    [[nodiscard]] const char* string_value() const {
        return is_option() && pointer.o->type == UCI_TYPE_STRING ? pointer.o->v.string : nullptr;
    }

    std::string text;
    std::unique_ptr<uci_context, void (*)(uci_context*)> context;
    uci_ptr pointer{};
    int result = UCI_ERR_MEM;
};

}  // namespace

// Never destroyed: threads may still read the configuration while the process ends.
UciConfig& UciConfig::Default = *new UciConfig{"/tmp/state/"};

UciConfig::UciConfig(std::string overlay_directory)
    : UciConfig{std::move(overlay_directory), Environment{}} {}

UciConfig::UciConfig(std::string overlay_directory, Environment environment)
    : delta_path{std::move(overlay_directory)},
      library_{environment.library},
      prepare_context{std::move(environment.prepare_context)} {}

const UciLibrary& UciConfig::library() const {
    return library_ == nullptr ? UciLibrary::Default : *library_;
}

bool UciConfig::has_option(const std::string& key) {
    if (!library().available) {
        return false;
    }
    const Lookup lookup{library(), delta_path, prepare_context, key};
    return lookup.string_value() != nullptr;
}

std::string UciConfig::get_option(const std::string& key) {
    PackageNotFoundException failure;
    if (library().available) {
        const Lookup lookup{library(), delta_path, prepare_context, key};
        if (const char* const value = lookup.string_value()) {
            return value;
        }
        failure.unreadable = !lookup.is_missing();
    }
    ZEPHRAN_THROW(failure << config_key_tag{key});
}

bool UciConfig::set_option(const std::string& key, const std::string& value) {
    if (!library().available) {
        return false;
    }
    const std::lock_guard<std::mutex> only_writer{write_mutex()};
    std::string assignment = key;
    assignment.append("=").append(value);
    Lookup lookup{library(), delta_path, prepare_context, std::move(assignment)};
    if (!lookup.succeeded()) {
        return false;
    }
    // Save and commit even after a failed set: they keep the pending changes of other writers. Only
    // the result of the set shows that the section is missing.
    const int set_result = library().set(lookup.context.get(), &lookup.pointer);
    const int save_result = library().save(lookup.context.get(), lookup.pointer.p);
    const int commit_result = library().commit(lookup.context.get(), &lookup.pointer.p, false);
    return set_result == 0 && save_result == 0 && commit_result == 0;
}

bool UciConfig::delete_option(const std::string& key) {
    if (!library().available) {
        return false;
    }
    const std::lock_guard<std::mutex> only_writer{write_mutex()};
    Lookup lookup{library(), delta_path, prepare_context, key};
    if (!lookup.succeeded() || library().remove(lookup.context.get(), &lookup.pointer) != 0) {
        return false;
    }
    // Without this, the deletion would be lost with the context.
    return library().save(lookup.context.get(), lookup.pointer.p) == 0;
}

}  // namespace zephran
