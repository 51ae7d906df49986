// SPDX-License-Identifier: MIT
// The header after another one that brings the bitmap structures: it steps aside.
#define BI_RGB 0
#define BI_RLE8 1
#define BI_RLE4 2
#define BI_BITFIELDS 3
struct BITMAPINFO {
  int ofAnotherHeader;
};

#include "jpg.h"

int main() {
  BITMAPINFO bmi = {0};
  return jpgReadToWinDIBits(nullptr, 0, nullptr, &bmi) == JPG_E_INVALID_HANDLE ? 0 : 1;
}
