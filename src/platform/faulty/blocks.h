// SPDX-License-Identifier: MIT
// Where the faulty provider's heap blocks come from. The build chooses: blocks.cpp for the
// C library's heap, another file for blocks that detect accesses out of bounds.
#ifndef JPG_PLATFORM_FAULTY_BLOCKS_H
#define JPG_PLATFORM_FAULTY_BLOCKS_H

#include <stddef.h>

namespace jpg {
namespace faulty {

// A block of `bytes` bytes (0 too), or null.
void *takeBlock(size_t bytes);

// Gives back a block of that size.
void giveBlock(void *block, size_t bytes);

}  // namespace faulty
}  // namespace jpg

#endif
