// SPDX-License-Identifier: Apache-2.0
#pragma once

/// MD5 in pieces. No C-linkage guards, like blob.h.

#include <stddef.h>
#include <stdint.h>

typedef struct md5_ctx {
    /// the number of bytes so far: the low 29 bits, and the bits above them
    uint32_t lo, hi;
    uint32_t a, b, c, d;
    unsigned char buffer[64];
} md5_ctx_t;

void md5_begin(md5_ctx_t* ctx);
void md5_hash(const void* data, size_t length, md5_ctx_t* ctx);
/// Writes the 16 bytes of the digest and clears the context.
void md5_end(void* resbuf, md5_ctx_t* ctx);
