// SPDX-License-Identifier: MIT
// The platform's operations are the system's own.
#ifndef JPG_PLATFORM_WINDOWS_PLATFORM_H
#define JPG_PLATFORM_WINDOWS_PLATFORM_H

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#endif
