// Memory functions for the device's build, which has no C library but the system's.
//
// The compiler expands what is short and constant; the rest goes to the system library.
#ifndef JPG_PLATFORM_DEVICE_STRING_H
#define JPG_PLATFORM_DEVICE_STRING_H

#define memcpy __builtin_memcpy
#define memset __builtin_memset

#endif
