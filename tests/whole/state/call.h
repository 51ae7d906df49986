// SPDX-License-Identifier: MIT
// Calls as plain numbers, so that a sequence can be printed, repeated and shortened.
#ifndef JPG_TESTS_WHOLE_STATE_CALL_H
#define JPG_TESTS_WHOLE_STATE_CALL_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace jpgtest {

// The functions of the interface, in the order of the header.
enum class Op : uint8_t {
  kReadPrologFromFile,
  kReadPrologFromMemory,
  kReadEpilog,
  kReadGetCodingProcess,
  kReadGetImageSize,
  kReadGetNumberOfChannels,
  kReadGetSamplePrecision,
  kReadSetNoColorConversion,
  kReadSeekMarkerSegment,
  kReadReadMarkerData,
  kReadSeekMarkerData,
  kReadSeekRestartMarker,
  kReadSetPartialBitstream,
  kReadToRect,
  kReadProgressiveToRect,
  kReadScaleOutputGetImageSize,
  kReadScaleOutputToRect,
  kReadSpatialToRect,
  kWritePrologToFile,
  kWritePrologToMemory,
  kWriteEpilogToFile,
  kWriteEpilogToMemory,
  kWriteFreeBitstream,
  kWriteGetPartialBitstream,
  kWriteSetImageSize,
  kWriteSetNoColorConversion,
  kWriteSetSubsamplingFactor,
  kWriteSetNumberOfComponents,
  kWriteSetQuantizationFactor,
  kWriteSetRestartInterval,
  kWriteSetSpatialPredictor,
  kWriteWriteMarkerCode,
  kWriteWriteMarkerData,
  kWriteWriteMarkerSegment,
  kWriteFromRect,
  kWriteSpatialFromRect,
  kReadToWinDIBits,
  kReadProgressiveToWinDIBits,
  kReadScaleOutputToWinDIBits,
  kWriteFromWinDIBits,
  kReadExifReadAttributeProlog,
  kReadExifReadAttributeEpilog,
  kExifReadThumbnailToWinDIBits,
  kCount,
};

// What an argument slot of a call means is named in call.cpp.
struct Call {
  Op op = Op::kCount;
  std::array<int32_t, 8> a{};
};

using Calls = std::vector<Call>;

const char *nameOf(Op op);
// The function's name and its arguments.
std::string describe(const Call &call);

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_STATE_CALL_H
