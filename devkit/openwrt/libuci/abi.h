// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>

/// The binary interface of libuci as far as programs use it: structures whose layouts match the
/// library of the device, and the functions that are looked up at run time.
namespace zephran::uci_standin {

struct Package;
struct Section;

enum Result {
    ok = 0,
    out_of_memory = 1,
    invalid = 2,
    not_found = 3,
    io_error = 4,
    parse_error = 5,
    duplicate = 6,
    unknown = 7
};

enum ElementType { package_element = 2, section_element = 3, option_element = 4 };

enum OptionType { string_option = 0, list_option = 1 };

enum LookupFlag { lookup_done = 1, lookup_complete = 2, lookup_extended = 4 };

enum ContextFlag { strict = 1, saved_delta = 8 };

extern "C" {

struct uci_list {
    uci_list* next;
    uci_list* prev;
};

struct uci_element {
    uci_list list;
    int type;
    char* name;
};

struct uci_option {
    uci_element e;
    Section* section;
    int type;
    union {
        uci_list values;
        char* string;
    } v;
};

struct uci_ptr {
    int target;
    int flags;
    Package* p;
    Section* s;
    uci_option* o;
    uci_element* last;
    const char* package;
    const char* section;
    const char* option;
    const char* value;
};

/// Programs set the directories by their functions only: the context owns the texts.
struct uci_context {
    std::array<void*, 6> reserved_head;
    int flags;
    const char* confdir;
    const char* savedir;
    void* state;
    std::array<void*, 32> reserved_tail;
};

/// Nothing else leaves the library.
#pragma GCC visibility push(default)

uci_context* uci_alloc_context();
void uci_free_context(uci_context* context);
int uci_lookup_ptr(uci_context* context, uci_ptr* pointer, char* text, bool extended);
int uci_set(uci_context* context, uci_ptr* pointer);
int uci_save(uci_context* context, Package* package);
int uci_commit(uci_context* context, Package** package, bool overwrite);
int uci_set_confdir(uci_context* context, const char* directory);
int uci_set_savedir(uci_context* context, const char* directory);
int uci_add_delta_path(uci_context* context, const char* directory);
int uci_delete(uci_context* context, uci_ptr* pointer);

/// Says what this library is, so that it is recognised wherever it turns up.
extern const char* const uci_standin_notice;

#pragma GCC visibility pop

}  // extern "C"

constexpr bool is_64_bit = sizeof(void*) == 8;
static_assert(!is_64_bit || sizeof(uci_ptr) == 72);
static_assert(!is_64_bit || (offsetof(uci_ptr, target) == 0 && offsetof(uci_ptr, flags) == 4));
static_assert(!is_64_bit || (offsetof(uci_ptr, p) == 8 && offsetof(uci_ptr, s) == 16));
static_assert(!is_64_bit || (offsetof(uci_ptr, o) == 24 && offsetof(uci_ptr, last) == 32));
static_assert(!is_64_bit || (offsetof(uci_ptr, package) == 40 && offsetof(uci_ptr, section) == 48));
static_assert(!is_64_bit || (offsetof(uci_ptr, option) == 56 && offsetof(uci_ptr, value) == 64));
static_assert(!is_64_bit || (sizeof(uci_element) == 32 && sizeof(uci_option) == 64));
static_assert(!is_64_bit ||
              (offsetof(uci_element, type) == 16 && offsetof(uci_element, name) == 24));
static_assert(!is_64_bit ||
              (offsetof(uci_option, section) == 32 && offsetof(uci_option, type) == 40));
static_assert(!is_64_bit || (offsetof(uci_option, v) == 48 && sizeof(uci_list) == 16));
static_assert(!is_64_bit || sizeof(uci_context) == 336);
static_assert(!is_64_bit || offsetof(uci_context, flags) == 48);
static_assert(!is_64_bit ||
              (offsetof(uci_context, confdir) == 56 && offsetof(uci_context, savedir) == 64));

}  // namespace zephran::uci_standin
