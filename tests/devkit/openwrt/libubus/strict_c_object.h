#pragma once

#ifdef __cplusplus
extern "C" {
#endif

struct ubus_object;

/// An object of one method "echo" with a string "text" and one "stop" without arguments, made of
/// static records by the macros of the library.
struct ubus_object* strict_c_object(void);

#ifdef __cplusplus
}
#endif
