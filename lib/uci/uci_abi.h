// SPDX-License-Identifier: Apache-2.0
#pragma once

#if __has_include(<uci.h>)

#include <uci.h>

#else

#include <cstddef>

/// The part of libuci's binary interface that the daemon uses, for build machines without its
/// header. Only two structures are needed. Their layouts, and the names of the members used here,
/// are the same in all libuci releases since 2017, so the sources compile against either.
extern "C" {

struct uci_context;
struct uci_package;
struct uci_section;

struct uci_list {
    uci_list* next;
    uci_list* prev;
};

struct uci_element {
    uci_list list;
    int type;
    char* name;
};

/// The error numbers that are told apart.
enum { UCI_OK = 0, UCI_ERR_MEM = 1, UCI_ERR_NOTFOUND = 3 };

enum uci_option_type { UCI_TYPE_STRING = 0, UCI_TYPE_LIST = 1 };

struct uci_option {
    uci_element e;
    uci_section* section;
    uci_option_type type;
    union {
        uci_list values;
        char* string;
    } v;
};

struct uci_ptr {
    enum Flags { UCI_LOOKUP_DONE = 1, UCI_LOOKUP_COMPLETE = 2, UCI_LOOKUP_EXTENDED = 4 };

    int target;
    int flags;
    uci_package* p;
    uci_section* s;
    uci_option* o;
    uci_element* last;
    const char* package;
    const char* section;
    const char* option;
    const char* value;
};

}  // extern "C"

static_assert(sizeof(void*) != 8 || sizeof(uci_ptr) == 72, "uci_ptr differs from libuci's");
static_assert(sizeof(void*) != 8 || offsetof(uci_ptr, o) == 24, "uci_ptr differs from libuci's");
static_assert(sizeof(void*) != 8 || sizeof(uci_option) == 64, "uci_option differs from libuci's");
static_assert(sizeof(void*) != 8 || offsetof(uci_option, type) == 40,
              "uci_option differs from libuci's");
static_assert(sizeof(void*) != 8 || offsetof(uci_option, v) == 48,
              "uci_option differs from libuci's");

#endif
