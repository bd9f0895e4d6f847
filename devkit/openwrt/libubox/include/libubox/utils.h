// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Network order from and to the machine's.
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
#define cpu_to_be64(value) __builtin_bswap64(value)
#define cpu_to_be32(value) __builtin_bswap32(value)
#define cpu_to_be16(value) __builtin_bswap16(value)
#else
#define cpu_to_be64(value) (value)
#define cpu_to_be32(value) (value)
#define cpu_to_be16(value) (value)
#endif
#define be64_to_cpu(value) cpu_to_be64(value)
#define be32_to_cpu(value) cpu_to_be32(value)
#define be16_to_cpu(value) cpu_to_be16(value)
