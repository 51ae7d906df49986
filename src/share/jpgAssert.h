// SPDX-License-Identifier: MIT
// Assertions of what the code relies on without testing it: docs/bounds.md says for each why it
// holds. Debug, sanitizer and fuzz builds end at one that doesn't; in all others they are nothing.
#ifndef JPG_SHARE_ASSERT_H
#define JPG_SHARE_ASSERT_H

#ifdef JPG_ASSERTIONS
#define JPG_ASSERT(condition) ((condition) ? static_cast<void>(0) : __builtin_trap())
#else
#define JPG_ASSERT(condition) static_cast<void>(0)
#endif

#endif
