// SPDX-License-Identifier: MIT
#include "whole/state/call.h"

namespace jpgtest {
namespace {

struct Signature {
  const char *name;
  std::vector<const char *> arguments;
};

// "nulls" has a bit for each pointer argument, the first lowest, that is null.
const Signature &signatureOf(Op op) {
  static const std::vector<Signature> all = {
      {"jpgReadPrologFromFile", {"slot", "stream", "startOffset", "length", "flags", "nulls"}},
      {"jpgReadPrologFromMemory", {"slot", "stream", "size", "flags", "nulls"}},
      {"jpgReadEpilog", {"slot"}},
      {"jpgReadGetCodingProcess", {"slot", "nulls"}},
      {"jpgReadGetImageSize", {"slot", "nulls"}},
      {"jpgReadGetNumberOfChannels", {"slot", "nulls"}},
      {"jpgReadGetSamplePrecision", {"slot", "nulls"}},
      {"jpgReadSetNoColorConversion", {"slot"}},
      {"jpgReadSeekMarkerSegment", {"slot", "mode", "nulls"}},
      {"jpgReadReadMarkerData", {"slot", "size", "nulls"}},
      {"jpgReadSeekMarkerData", {"slot"}},
      {"jpgReadSeekRestartMarker", {"slot", "intervals", "mode"}},
      {"jpgReadSetPartialBitstream", {"slot", "piece", "empty", "nulls"}},
      {"jpgReadToRect", {"slot", "lines", "width", "pixelBytes", "bottomUp", "nulls"}},
      {"jpgReadProgressiveToRect",
       {"slot", "lines", "width", "pixelBytes", "bottomUp", "nulls", "mode"}},
      {"jpgReadScaleOutputGetImageSize", {"slot", "scale", "nulls"}},
      {"jpgReadScaleOutputToRect",
       {"slot", "lines", "width", "pixelBytes", "bottomUp", "nulls", "scale"}},
      {"jpgReadSpatialToRect", {"slot", "lines", "width", "padding", "bottomUp", "nulls"}},
      {"jpgWritePrologToFile", {"slot", "path", "nulls"}},
      {"jpgWritePrologToMemory", {"slot", "flags", "nulls"}},
      {"jpgWriteEpilogToFile", {"slot"}},
      {"jpgWriteEpilogToMemory", {"slot", "nulls"}},
      {"jpgWriteFreeBitstream", {"null"}},
      {"jpgWriteGetPartialBitstream", {"slot", "nulls"}},
      {"jpgWriteSetImageSize", {"slot", "width", "height"}},
      {"jpgWriteSetNoColorConversion", {"slot"}},
      {"jpgWriteSetSubsamplingFactor", {"slot", "packed"}},
      {"jpgWriteSetNumberOfComponents", {"slot", "count"}},
      {"jpgWriteSetQuantizationFactor", {"slot", "quality"}},
      {"jpgWriteSetRestartInterval", {"slot", "interval"}},
      {"jpgWriteSetSpatialPredictor", {"slot", "predictor"}},
      {"jpgWriteWriteMarkerCode", {"slot", "marker", "length"}},
      {"jpgWriteWriteMarkerData", {"slot", "size", "nulls"}},
      {"jpgWriteWriteMarkerSegment", {"slot", "marker", "length", "nulls"}},
      {"jpgWriteFromRect",
       {"slot", "lines", "width", "height", "channels", "bitsPerSample", "pixels", "nulls"}},
      {"jpgWriteSpatialFromRect",
       {"slot", "lines", "width", "height", "channels", "bitsPerSample", "pixels", "nulls"}},
      {"jpgReadToWinDIBits", {"slot", "lines", "biBitCount", "extraWidth", "bottomUp", "nulls"}},
      {"jpgReadProgressiveToWinDIBits",
       {"slot", "lines", "biBitCount", "extraWidth", "bottomUp", "nulls", "mode"}},
      {"jpgReadScaleOutputToWinDIBits",
       {"slot", "lines", "biBitCount", "extraWidth", "bottomUp", "nulls", "scale"}},
      {"jpgWriteFromWinDIBits",
       {"slot", "lines", "biWidth", "biHeight", "biBitCount", "biCompression", "pixels", "nulls"}},
      {"jpgReadExifReadAttributeProlog", {"slot", "exif", "nulls"}},
      {"jpgReadExifReadAttributeEpilog", {"exif"}},
      {"jpgExifReadThumbnailToWinDIBits",
       {"exif", "biBitCount", "extraWidth", "bottomUp", "nulls"}},
  };
  return all[static_cast<size_t>(op)];
}

}  // namespace

const char *nameOf(Op op) { return signatureOf(op).name; }

std::string describe(const Call &call) {
  const Signature &signature = signatureOf(call.op);
  std::string text = std::string(signature.name) + "(";
  for (size_t i = 0; i < signature.arguments.size(); i++) {
    text += (i == 0 ? "" : ", ") + std::string(signature.arguments[i]) + " ";
    text += std::to_string(call.a[i]);
  }
  return text + ")";
}

}  // namespace jpgtest
