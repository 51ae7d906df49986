// SPDX-License-Identifier: MIT
// A preview at an eighth of the size, as a JPEG file: preview IN.jpg OUT.jpg
#include <cstdio>

#include "jpg.hpp"

int main(int argc, char **argv) {
  if (argc != 3) return 64;
  jpg::ReadOptions options;
  options.scale = jpg::Scale::kEighth;
  const jpg::Result<jpg::Picture> small = jpg::read(argv[1], options);
  const jpg::Status status = small ? jpg::write(argv[2], *small) : small.status();
  if (!status) std::fprintf(stderr, "%s: %s\n", argv[1], status.text());
  return status ? 0 : 1;
}
