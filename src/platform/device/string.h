// SPDX-License-Identifier: MIT
// Memory functions for the device's build, which has no C library besides the system's.
//
// The compiler expands short calls of constant length inline; others go to the system library.
#ifndef JPG_PLATFORM_DEVICE_STRING_H
#define JPG_PLATFORM_DEVICE_STRING_H

#define memcpy __builtin_memcpy
#define memset __builtin_memset

#endif
