// SPDX-License-Identifier: MIT
#include "blocks.h"

#include <stdlib.h>

namespace jpg {
namespace faulty {

void *takeBlock(size_t bytes) { return malloc(bytes != 0 ? bytes : 1); }

void giveBlock(void *block, size_t /*bytes*/) { free(block); }

}  // namespace faulty
}  // namespace jpg
