// SPDX-License-Identifier: MIT
#include "support/bytes.h"

namespace jpgtest {

void append(Bytes &to, const Bytes &more) { to.insert(to.end(), more.begin(), more.end()); }

Bytes operator+(Bytes first, const Bytes &second) {
  append(first, second);
  return first;
}

}  // namespace jpgtest
