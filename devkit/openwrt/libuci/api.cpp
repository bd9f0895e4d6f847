// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "abi.h"
#include "failure.h"
#include "lookup.h"
#include "store.h"

namespace zephran::uci_standin {

namespace {

constexpr const char* default_confdir = "/etc/config";
constexpr const char* default_savedir = "/tmp/.uci";

void free_unless(const char* fixed, const char* text) {
    if (text != fixed) {
        std::free(const_cast<char*>(text));
    }
}

void replace_unless(const char* fixed, const char*& text, const char* by) {
    const char* const copy = strdup(by);
    if (copy == nullptr) {
        throw std::bad_alloc{};
    }
    free_unless(fixed, text);
    text = copy;
}

Store& store_of(uci_context* context) {
    return *static_cast<Store*>(context->state);
}

/// No exception may reach the C caller; each becomes its error number.
template <class Operation>
int guarded(Operation operation) noexcept {
    try {
        operation();
        return ok;
    } catch (const Failure& failure) {
        return failure.result;
    } catch (const std::bad_alloc&) {
        return out_of_memory;
    } catch (...) {
        return unknown;
    }
}

}  // namespace

extern "C" {

const char* const uci_standin_notice =
    "Stand-in for libuci, for development and tests of zephran only; never install it on a device";

uci_context* uci_alloc_context() {
    try {
        auto context = std::make_unique<uci_context>();
        context->flags = strict | saved_delta;
        context->confdir = default_confdir;
        context->savedir = default_savedir;
        context->state = std::make_unique<Store>(*context).release();
        return context.release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void uci_free_context(uci_context* context) {
    const std::unique_ptr<uci_context> owner{context};
    if (owner != nullptr) {
        const std::unique_ptr<Store> state{&store_of(context)};
        free_unless(default_confdir, owner->confdir);
        free_unless(default_savedir, owner->savedir);
    }
}

int uci_lookup_ptr(uci_context* context, uci_ptr* pointer, char* text, bool extended) {
    return guarded([=] { lookup(store_of(context), *pointer, text, extended); });
}

int uci_set(uci_context* context, uci_ptr* pointer) {
    return guarded([=] { set(store_of(context), *pointer); });
}

int uci_delete(uci_context* context, uci_ptr* pointer) {
    return guarded([=] { remove(store_of(context), *pointer); });
}

int uci_save(uci_context* context, Package* package) {
    return guarded([=] { store_of(context).save(store_of(context).checked(package)); });
}

int uci_commit(uci_context* context, Package** package, bool overwrite) {
    return guarded(
        [=] { store_of(context).commit(store_of(context).checked(*package), overwrite); });
}

int uci_set_confdir(uci_context* context, const char* directory) {
    return guarded([=] { replace_unless(default_confdir, context->confdir, directory); });
}

int uci_set_savedir(uci_context* context, const char* directory) {
    return guarded([=] {
        store_of(context).set_save_directory(directory);
        replace_unless(default_savedir, context->savedir, directory);
    });
}

int uci_add_delta_path(uci_context* context, const char* directory) {
    return guarded([=] { store_of(context).add_delta_directory(directory); });
}

}  // extern "C"

}  // namespace zephran::uci_standin
