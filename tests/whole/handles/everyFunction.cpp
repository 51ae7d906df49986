// SPDX-License-Identifier: MIT
#include "whole/handles/everyFunction.h"

#include <algorithm>
#include <cstring>

namespace jpgtest {
namespace {

constexpr uint8_t kPattern = 0xC3;
constexpr int32_t kSide = 16;  // pixels of the rectangle and the bitmap

struct Bitmap {
  BITMAPINFOHEADER header;
  RGBQUAD colors[256];
};

// What calls store to.
struct Outputs {
  uint32_t word, second;
  uint16_t marker;
  void *block;
  uint8_t pixels[size_t{4} * kSide * (kSide + 1)];
};
Outputs out;
JPGEXIFHANDLE attributes;
uint8_t input[size_t{4} * kSide * kSide];

JPGHANDLE jpegOf(void *handle) { return static_cast<JPGHANDLE>(handle); }
JPGEXIFHANDLE exifOf(void *handle) { return static_cast<JPGEXIFHANDLE>(handle); }

const JpgRect *rectOf(void *bits) {
  static JpgRect rect;
  rect = {kSide, kSide, 3 * kSide, 24, 3, 8, bits, sizeof(input), 0};
  return &rect;
}

BITMAPINFO *bitmap() {
  static Bitmap description;
  description = {};
  description.header.biSize = sizeof(BITMAPINFOHEADER);
  description.header.biWidth = kSide;
  description.header.biHeight = kSide;
  description.header.biBitCount = 24;
  return reinterpret_cast<BITMAPINFO *>(&description);
}

// The Exif prolog's result is closed at once, so that nothing is left of the call.
uint32_t attributeProlog(void *handle) {
  const uint32_t r = jpgReadExifReadAttributeProlog(jpegOf(handle), &attributes);
  if (r == JPG_OK) jpgReadExifReadAttributeEpilog(attributes);
  return r;
}

uint32_t epilogToMemory(void *handle) {
  const uint32_t r = jpgWriteEpilogToMemory(jpegOf(handle), &out.block, &out.word);
  if (r != JPG_E_INVALID_HANDLE && out.block != nullptr) jpgWriteFreeBitstream(out.block);
  return r;
}

uint32_t getPartialBitstream(void *handle) {
  const uint32_t r = jpgWriteGetPartialBitstream(jpegOf(handle), &out.block, &out.word);
  if (r == JPG_OK) jpgWriteFreeBitstream(out.block);
  return r;
}

// clang-format off
const Function kFunctions[] = {
    {"jpgReadPrologFromFile", Takes::kNone, false, nullptr},
    {"jpgReadPrologFromMemory", Takes::kNone, false, nullptr},
    {"jpgWritePrologToFile", Takes::kNone, false, nullptr},
    {"jpgWritePrologToMemory", Takes::kNone, false, nullptr},
    {"jpgWriteFreeBitstream", Takes::kNone, false, nullptr},

    {"jpgReadGetCodingProcess", Takes::kRecord, false,
     [](void *h) { return jpgReadGetCodingProcess(jpegOf(h), &out.word); }},
    {"jpgReadGetImageSize", Takes::kRecord, false,
     [](void *h) { return jpgReadGetImageSize(jpegOf(h), &out.word, &out.second); }},
    {"jpgReadGetNumberOfChannels", Takes::kRecord, false,
     [](void *h) { return jpgReadGetNumberOfChannels(jpegOf(h), &out.word); }},
    {"jpgReadGetSamplePrecision", Takes::kRecord, false,
     [](void *h) { return jpgReadGetSamplePrecision(jpegOf(h), &out.word); }},
    {"jpgReadScaleOutputGetImageSize", Takes::kRecord, false,
     [](void *h) {
       return jpgReadScaleOutputGetImageSize(jpegOf(h), &out.word, &out.second, JPG_SCALE_HALF);
     }},
    {"jpgReadSetNoColorConversion", Takes::kReader, false,
     [](void *h) { return jpgReadSetNoColorConversion(jpegOf(h)); }},
    {"jpgWriteSetImageSize", Takes::kWriter, false,
     [](void *h) { return jpgWriteSetImageSize(jpegOf(h), kSide, kSide); }},
    {"jpgWriteSetNoColorConversion", Takes::kWriter, false,
     [](void *h) { return jpgWriteSetNoColorConversion(jpegOf(h)); }},
    {"jpgWriteSetNumberOfComponents", Takes::kWriter, false,
     [](void *h) { return jpgWriteSetNumberOfComponents(jpegOf(h), 3); }},
    {"jpgWriteSetQuantizationFactor", Takes::kWriter, false,
     [](void *h) { return jpgWriteSetQuantizationFactor(jpegOf(h), 75); }},
    {"jpgWriteSetRestartInterval", Takes::kWriter, false,
     [](void *h) { return jpgWriteSetRestartInterval(jpegOf(h), 4); }},
    {"jpgWriteSetSpatialPredictor", Takes::kWriter, false,
     [](void *h) { return jpgWriteSetSpatialPredictor(jpegOf(h), 4); }},
    {"jpgWriteSetSubsamplingFactor", Takes::kWriter, false,
     [](void *h) { return jpgWriteSetSubsamplingFactor(jpegOf(h), 0x00111111); }},

    {"jpgReadEpilog", Takes::kReader, true, [](void *h) { return jpgReadEpilog(jpegOf(h)); }},
    {"jpgReadExifReadAttributeProlog", Takes::kReader, false, attributeProlog},
    {"jpgReadProgressiveToRect", Takes::kReader, false,
     [](void *h) { return jpgReadProgressiveToRect(jpegOf(h), rectOf(out.pixels), kSide, 0); }},
    {"jpgReadProgressiveToWinDIBits", Takes::kReader, false,
     [](void *h) {
       return jpgReadProgressiveToWinDIBits(jpegOf(h), kSide, out.pixels, bitmap(), 0);
     }},
    {"jpgReadReadMarkerData", Takes::kReader, false,
     [](void *h) { return jpgReadReadMarkerData(jpegOf(h), out.pixels, 4, &out.word); }},
    {"jpgReadScaleOutputToRect", Takes::kReader, false,
     [](void *h) {
       return jpgReadScaleOutputToRect(jpegOf(h), rectOf(out.pixels), kSide, JPG_SCALE_HALF);
     }},
    {"jpgReadScaleOutputToWinDIBits", Takes::kReader, false,
     [](void *h) {
       return jpgReadScaleOutputToWinDIBits(jpegOf(h), kSide, out.pixels, bitmap(),
                                            JPG_SCALE_HALF);
     }},
    {"jpgReadSeekMarkerData", Takes::kReader, false,
     [](void *h) { return jpgReadSeekMarkerData(jpegOf(h)); }},
    {"jpgReadSeekMarkerSegment", Takes::kReader, false,
     [](void *h) { return jpgReadSeekMarkerSegment(jpegOf(h), 0, &out.marker, &out.word); }},
    {"jpgReadSeekRestartMarker", Takes::kReader, false,
     [](void *h) { return jpgReadSeekRestartMarker(jpegOf(h), 1, JPG_RESTART_FROM_START); }},
    {"jpgReadSetPartialBitstream", Takes::kReader, false,
     [](void *h) { return jpgReadSetPartialBitstream(jpegOf(h), input, sizeof(input)); }},
    {"jpgReadSpatialToRect", Takes::kReader, false,
     [](void *h) { return jpgReadSpatialToRect(jpegOf(h), rectOf(out.pixels), kSide); }},
    {"jpgReadToRect", Takes::kReader, false,
     [](void *h) { return jpgReadToRect(jpegOf(h), rectOf(out.pixels), kSide); }},
    {"jpgReadToWinDIBits", Takes::kReader, false,
     [](void *h) { return jpgReadToWinDIBits(jpegOf(h), kSide, out.pixels, bitmap()); }},

    {"jpgWriteEpilogToFile", Takes::kWriter, true,
     [](void *h) { return jpgWriteEpilogToFile(jpegOf(h)); }},
    {"jpgWriteEpilogToMemory", Takes::kWriter, true, epilogToMemory},
    {"jpgWriteFromRect", Takes::kWriter, false,
     [](void *h) { return jpgWriteFromRect(jpegOf(h), rectOf(input), kSide); }},
    {"jpgWriteFromWinDIBits", Takes::kWriter, false,
     [](void *h) { return jpgWriteFromWinDIBits(jpegOf(h), kSide, input, bitmap()); }},
    {"jpgWriteGetPartialBitstream", Takes::kWriter, false, getPartialBitstream},
    {"jpgWriteSpatialFromRect", Takes::kWriter, false,
     [](void *h) { return jpgWriteSpatialFromRect(jpegOf(h), rectOf(input), kSide); }},
    {"jpgWriteWriteMarkerCode", Takes::kWriter, false,
     [](void *h) { return jpgWriteWriteMarkerCode(jpegOf(h), 0xFFFE, 4); }},
    {"jpgWriteWriteMarkerData", Takes::kWriter, false,
     [](void *h) { return jpgWriteWriteMarkerData(jpegOf(h), input, 4, &out.word); }},
    {"jpgWriteWriteMarkerSegment", Takes::kWriter, false,
     [](void *h) { return jpgWriteWriteMarkerSegment(jpegOf(h), 0xFFFE, input, 4); }},

    {"jpgReadExifReadAttributeEpilog", Takes::kExif, true,
     [](void *h) { return jpgReadExifReadAttributeEpilog(exifOf(h)); }},
    {"jpgExifReadThumbnailToWinDIBits", Takes::kExif, false,
     [](void *h) { return jpgExifReadThumbnailToWinDIBits(exifOf(h), out.pixels, bitmap()); }},
};
// clang-format on

}  // namespace

const std::vector<Function> &everyFunction() {
  static const std::vector<Function> all(std::begin(kFunctions), std::end(kFunctions));
  return all;
}

void resetOutputs() { std::memset(&out, kPattern, sizeof(out)); }

bool outputsUntouched() {
  const auto *bytes = reinterpret_cast<const uint8_t *>(&out);
  return std::all_of(bytes, bytes + sizeof(out), [](uint8_t b) { return b == kPattern; });
}

}  // namespace jpgtest
