// SPDX-License-Identifier: MIT
/* What the consumer takes of the device's C library. */
#include <stddef.h>

void *memset(void *block, int byte, size_t size);
