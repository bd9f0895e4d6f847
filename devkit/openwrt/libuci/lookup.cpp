// SPDX-License-Identifier: Apache-2.0
#include "lookup.h"

#include "change.h"
#include "failure.h"
#include "key.h"
#include "model.h"
#include "store.h"

namespace zephran::uci_standin {

namespace {

Section* find_section(Package& package, const char* name) {
    if (!is_indexed_section(name)) {
        return package.find(name);
    }
    const IndexedSection place = parse_indexed_section(name);
    return package.find_indexed(place.type, place.index);
}

/// Points to what the texts of the pointer name, as far as it exists.
void resolve(Package& package, uci_ptr& pointer) {
    pointer.p = &package;
    pointer.s = nullptr;
    pointer.o = nullptr;
    pointer.last = &package.visible;
    pointer.target = package_element;
    pointer.flags = lookup_done;
    bool complete = true;
    if (pointer.section != nullptr) {
        pointer.target = section_element;
        pointer.s = find_section(package, pointer.section);
        complete = pointer.s != nullptr;
    }
    if (pointer.s != nullptr) {
        pointer.section = pointer.s->name.c_str();
        pointer.last = &pointer.s->visible;
    }
    if (pointer.option != nullptr) {
        pointer.target = option_element;
        Option* const option = pointer.s == nullptr ? nullptr : pointer.s->find(pointer.option);
        complete = option != nullptr;
        pointer.o = complete ? &option->visible : nullptr;
        pointer.last = complete ? &option->visible.e : pointer.last;
    }
    pointer.flags |= complete ? lookup_complete : 0;
}

Change change_of(Change::Operation operation, const uci_ptr& pointer) {
    const auto text_of = [](const char* part) { return part == nullptr ? "" : part; };
    return {operation, text_of(pointer.section), text_of(pointer.option), text_of(pointer.value)};
}

/// After a deletion: what was named by its place may have lost the text that names it, too.
void forget_removed(Package& package, uci_ptr& pointer) {
    pointer.o = nullptr;
    pointer.last = &package.visible;
    pointer.flags = lookup_done;
    if (pointer.option == nullptr) {
        pointer.s = nullptr;
        pointer.section = nullptr;
    }
}

/// Applies the change, and remembers it for the next save if it made a difference.
Outcome record(Package& package, Change change) {
    const Outcome outcome = apply(change, package);
    if (outcome == Outcome::changed) {
        package.unsaved.push_back(std::move(change));
    }
    return outcome;
}

}  // namespace

void lookup(Store& store, uci_ptr& pointer, char* text, bool extended) {
    pointer = uci_ptr{};
    try {
        split_key(text, extended, pointer);
    } catch (const Failure&) {
        pointer = uci_ptr{};
        throw;
    }
    resolve(store.load(pointer.package), pointer);
    pointer.flags |= extended ? lookup_extended : 0;
}

void set(Store& store, uci_ptr& pointer) {
    Package& package = store.checked(pointer.p);
    if (pointer.section == nullptr || pointer.value == nullptr) {
        throw Failure{invalid};
    }
    const bool deletes = *pointer.value == '\0';
    if (pointer.option == nullptr) {
        const bool valid_type = deletes || is_type(pointer.value);
        if (!is_identifier(pointer.section) || !valid_type) {
            throw Failure{invalid};
        }
    } else if (pointer.s == nullptr) {
        throw Failure{invalid};
    }
    record(package,
           change_of(deletes ? Change::Operation::remove : Change::Operation::set, pointer));
    if (deletes) {
        forget_removed(package, pointer);
    } else {
        // A lookup that was incomplete stays so.
        const int flags = pointer.flags;
        resolve(package, pointer);
        pointer.flags = flags;
    }
}

void remove(Store& store, uci_ptr& pointer) {
    Package& package = store.checked(pointer.p);
    if (pointer.section == nullptr) {
        throw Failure{invalid};
    }
    if (record(package, change_of(Change::Operation::remove, pointer)) == Outcome::impossible) {
        throw Failure{not_found};
    }
    forget_removed(package, pointer);
}

}  // namespace zephran::uci_standin
