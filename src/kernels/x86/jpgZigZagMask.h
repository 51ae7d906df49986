// SPDX-License-Identifier: MIT
// Masks for pshufb that reorder a block into the zig-zag sequence, computed at compile time: no
// code is generated from here.
#ifndef JPG_KERNELS_X86_ZIGZAGMASK_H
#define JPG_KERNELS_X86_ZIGZAGMASK_H

namespace jpg {

// Where the k-th coefficient of the sequence (T.81 Figure 5) lies in the block.
constexpr int zigZagNatural(int k) {
  int at = 0;
  for (int d = 0; d <= 14; d++) {
    const int low = d > 7 ? d - 7 : 0, high = d > 7 ? 7 : d;
    for (int i = low; i <= high; i++, at++) {
      const int row = d % 2 != 0 ? i : d - i;
      if (at == k) return 8 * row + (d - row);
    }
  }
  return 0;
}

constexpr char kNoByte = -128;

// Moves 16-bit values of a row to their places among zig-zag positions 8 * group to
// 8 * group + 7.
struct WordMask {
  alignas(16) char byte[16];
  bool any;
};

constexpr WordMask makeWordMask(int group, int row) {
  WordMask m{};
  for (int i = 0; i < 8; i++) {
    const int natural = zigZagNatural(8 * group + i);
    const bool here = natural / 8 == row;
    m.byte[2 * i] = here ? static_cast<char>(2 * (natural % 8)) : kNoByte;
    m.byte[2 * i + 1] = here ? static_cast<char>(2 * (natural % 8) + 1) : kNoByte;
    if (here) m.any = true;
  }
  return m;
}

// Moves bytes of rows 2 * pair and 2 * pair + 1 to their places among zig-zag positions
// 16 * group to 16 * group + 15.
struct ByteMask {
  alignas(16) char byte[16];
};

constexpr ByteMask makeByteMask(int group, int pair) {
  ByteMask m{};
  for (int i = 0; i < 16; i++) {
    const int natural = zigZagNatural(16 * group + i);
    m.byte[i] = natural / 16 == pair ? static_cast<char>(natural % 16) : kNoByte;
  }
  return m;
}

}  // namespace jpg

#endif
