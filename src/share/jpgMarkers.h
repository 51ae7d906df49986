// SPDX-License-Identifier: MIT
// Marker codes (T.81 Table B.1) as they are used here.
#ifndef JPG_SHARE_MARKERS_H
#define JPG_SHARE_MARKERS_H

#include <stdint.h>

namespace jpg {

constexpr uint32_t kMarkerSof0 = 0xFFC0;   // baseline DCT
constexpr uint32_t kMarkerSof1 = 0xFFC1;   // extended sequential DCT
constexpr uint32_t kMarkerSof2 = 0xFFC2;   // progressive DCT
constexpr uint32_t kMarkerSof3 = 0xFFC3;   // lossless
constexpr uint32_t kMarkerDht = 0xFFC4;    // Huffman tables
constexpr uint32_t kMarkerSof5 = 0xFFC5;   // differential sequential DCT
constexpr uint32_t kMarkerSof6 = 0xFFC6;   // differential progressive DCT
constexpr uint32_t kMarkerSof9 = 0xFFC9;   // first of the arithmetic-coded processes
constexpr uint32_t kMarkerSof15 = 0xFFCF;  // last frame marker
constexpr uint32_t kMarkerRst0 = 0xFFD0;
constexpr uint32_t kMarkerRst7 = 0xFFD7;
constexpr uint32_t kMarkerSoi = 0xFFD8;
constexpr uint32_t kMarkerEoi = 0xFFD9;
constexpr uint32_t kMarkerSos = 0xFFDA;
constexpr uint32_t kMarkerDqt = 0xFFDB;    // quantisation tables
constexpr uint32_t kMarkerDnl = 0xFFDC;    // number of lines
constexpr uint32_t kMarkerDri = 0xFFDD;    // restart interval
constexpr uint32_t kMarkerApp0 = 0xFFE0;   // JFIF
constexpr uint32_t kMarkerApp1 = 0xFFE1;   // Exif
constexpr uint32_t kMarkerApp14 = 0xFFEE;  // Adobe
constexpr uint32_t kMarkerApp15 = 0xFFEF;
constexpr uint32_t kMarkerCom = 0xFFFE;

constexpr uint32_t kSoiLength = 2;  // bytes of SOI, behind which the segments begin

constexpr uint32_t kMarkerFirst = 0xFFC0;  // lowest code taken for a marker
constexpr uint32_t kMarkerLast = 0xFFFE;   // highest; FF FF is a fill byte or the end of the data

constexpr bool isMarker(uint32_t code) { return code >= kMarkerFirst && code <= kMarkerLast; }
constexpr bool isRestart(uint32_t code) { return code >= kMarkerRst0 && code <= kMarkerRst7; }

}  // namespace jpg

#endif
