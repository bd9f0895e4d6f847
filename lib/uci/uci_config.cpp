#include "uci/uci_config.h"

#include <memory>
#include <utility>

#include "uci/exceptions.h"
#include "uci/uci_abi.h"
#include "uci/uci_library.h"

namespace zephran {

namespace {

/// One resolved key, together with everything that must outlive the pointers in it.
class Lookup {
public:
    Lookup(const UciLibrary& bound_library, const std::string& delta_path,
           const std::function<void(void*)>& prepare_context, std::string key_text)
        : text{std::move(key_text)},
          context{bound_library.alloc_context(), bound_library.free_context} {
        if (context == nullptr) {
            return;
        }
        if (prepare_context) {
            prepare_context(context.get());
        }
        if (!delta_path.empty()) {
            bound_library.add_delta_path(context.get(), delta_path.c_str());
        }
        succeeded = bound_library.lookup_ptr(context.get(), &pointer, text.data(), true) == 0;
    }

    /// The option's value, or null when the key does not lead to a string option. A bare package
    /// or section is complete as well, and a list has other things where a string has its text.
    [[nodiscard]] const char* string_value() const {
        const bool is_string = succeeded && (pointer.flags & uci_ptr::UCI_LOOKUP_COMPLETE) != 0 &&
                               pointer.o != nullptr && pointer.o->type == UCI_TYPE_STRING;
        return is_string ? pointer.o->v.string : nullptr;
    }

    std::string text;
    std::unique_ptr<uci_context, void (*)(uci_context*)> context;
    uci_ptr pointer{};
    bool succeeded = false;
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
    if (library().available) {
        const Lookup lookup{library(), delta_path, prepare_context, key};
        if (const char* const value = lookup.string_value()) {
            return value;
        }
    }
    BOOST_THROW_EXCEPTION(PackageNotFoundException{} << config_key_tag{key});
}

bool UciConfig::set_option(const std::string& key, const std::string& value) {
    if (!library().available) {
        return false;
    }
    std::string assignment = key;
    assignment.append("=").append(value);
    Lookup lookup{library(), delta_path, prepare_context, std::move(assignment)};
    if (!lookup.succeeded) {
        return false;
    }
    // A save and a commit are worth their while even after a failed set: they keep what other
    // writers left pending. Only the first of the three results tells about a missing section.
    const int set_result = library().set(lookup.context.get(), &lookup.pointer);
    const int save_result = library().save(lookup.context.get(), lookup.pointer.p);
    const int commit_result = library().commit(lookup.context.get(), &lookup.pointer.p, false);
    return set_result == 0 && save_result == 0 && commit_result == 0;
}

bool UciConfig::delete_option(const std::string& key) {
    if (!library().available) {
        return false;
    }
    Lookup lookup{library(), delta_path, prepare_context, key};
    if (!lookup.succeeded || library().remove(lookup.context.get(), &lookup.pointer) != 0) {
        return false;
    }
    // An unsaved deletion is lost with its context.
    return library().save(lookup.context.get(), lookup.pointer.p) == 0;
}

}  // namespace zephran
