// SPDX-License-Identifier: ISC
/*
 * Small helpers shared by all of the library.
 */
#ifndef LIBUBOX_UTILS_H
#define LIBUBOX_UTILS_H

#include <endian.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifndef ARRAY_SIZE
#define ARRAY_SIZE(x) (sizeof(x) / sizeof((x)[0]))
#endif

#ifndef __packed
#define __packed __attribute__((packed))
#endif

#endif
