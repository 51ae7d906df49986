// SPDX-License-Identifier: MIT
#include "work.h"

#include <cstdio>
#include <cstring>

#include "faulty.h"
#include "support/stored.h"

namespace faults {
namespace {

using Codes = std::vector<uint32_t>;

Codes with(Codes codes, const Codes &more) {
  codes.insert(codes.end(), more.begin(), more.end());
  return codes;
}

// What the header documents, less what only wrong arguments bring.
const Codes kOnlyOk = {JPG_OK};
const Codes kOkOrFail = {JPG_OK, JPG_E_FAIL};
const Codes kHeaders = {JPG_OK, JPG_E_OUT_OF_MEMORY, JPG_E_NOT_JPEG, JPG_E_UNSUPPORTED,
                        JPG_E_BAD_SEGMENT_LENGTH};
const Codes kDamage = {JPG_E_BAD_DC_CODE, JPG_E_BAD_AC_CODE, JPG_E_COEF_OVERFLOW};
const Codes kRows = with({JPG_OK, JPG_E_UNSUPPORTED, JPG_E_FAIL, JPG_E_END_OF_IMAGE, JPG_E_SEEK,
                          JPG_E_OUT_OF_MEMORY, JPG_E_DAMAGED},
                         kDamage);
const Codes kProgressive =
    with({JPG_OK, JPG_NO_DATA, JPG_E_UNSUPPORTED, JPG_E_FAIL, JPG_E_NOT_JPEG, JPG_E_OUT_OF_MEMORY,
          JPG_E_BAD_SEGMENT_LENGTH, JPG_E_SEEK, JPG_E_DAMAGED},
         kDamage);
const Codes kScaled = with(kRows, {JPG_E_INVALID_PARAMETER});
const Codes kSpatial = {JPG_OK,         JPG_E_UNSUPPORTED, JPG_E_FAIL,
                        JPG_E_NOT_JPEG, JPG_E_SEEK,        JPG_E_INVALID_PARAMETER};
const Codes kNoMemory = {JPG_E_OUT_OF_MEMORY};
const Codes kWriting = {JPG_OK, JPG_E_WRITE_FAULT};
const Codes kEncoding = {JPG_OK, JPG_E_OUT_OF_MEMORY, JPG_E_WRITE_FAULT};
const Codes kClosing = {JPG_OK, JPG_E_OUT_OF_MEMORY, JPG_E_WRITE_FAULT, JPG_E_FAIL};

Function reaching(const char *name, const Codes &codes) { return {name, codes, true}; }
Function within(const char *name, const Codes &codes) { return {name, codes, false}; }

std::vector<Function> makeFunctions() {
  return {
      reaching("jpgExifReadThumbnailToWinDIBits", with(with(kHeaders, kRows), {JPG_E_NOT_FOUND})),
      reaching("jpgReadEpilog", kOkOrFail),
      reaching("jpgReadExifReadAttributeEpilog", kOkOrFail),
      reaching("jpgReadExifReadAttributeProlog",
               {JPG_OK, JPG_E_NOT_JPEG, JPG_E_NOT_FOUND, JPG_E_OUT_OF_MEMORY, JPG_E_SEEK}),
      within("jpgReadGetCodingProcess", kOnlyOk),
      within("jpgReadGetImageSize", kOnlyOk),
      within("jpgReadGetNumberOfChannels", kOnlyOk),
      within("jpgReadGetSamplePrecision", kOnlyOk),
      reaching("jpgReadProgressiveToRect", kProgressive),
      reaching("jpgReadProgressiveToWinDIBits", with(with(kProgressive, kRows), kNoMemory)),
      reaching("jpgReadPrologFromFile", with(kHeaders, {JPG_E_OPEN_FAILED, JPG_E_SEEK})),
      reaching("jpgReadPrologFromMemory", kHeaders),
      reaching("jpgReadReadMarkerData", {JPG_OK, JPG_NO_DATA}),
      within("jpgReadScaleOutputGetImageSize", kOnlyOk),
      reaching("jpgReadScaleOutputToRect", kScaled),
      reaching("jpgReadScaleOutputToWinDIBits", with(kScaled, kNoMemory)),
      within("jpgReadSeekMarkerData", {JPG_E_UNSUPPORTED}),
      reaching("jpgReadSeekMarkerSegment", {JPG_OK, JPG_NO_DATA, JPG_E_NOT_JPEG, JPG_E_SEEK}),
      reaching("jpgReadSeekRestartMarker", {JPG_OK, JPG_NO_DATA, JPG_E_SEEK}),
      within("jpgReadSetNoColorConversion", kOnlyOk),
      within("jpgReadSetPartialBitstream", kOnlyOk),
      reaching("jpgReadSpatialToRect", kSpatial),
      reaching("jpgReadToRect", kRows),
      reaching("jpgReadToWinDIBits", with(kRows, kNoMemory)),
      reaching("jpgWriteEpilogToFile", kClosing),
      reaching("jpgWriteEpilogToMemory", kClosing),
      reaching("jpgWriteFreeBitstream", kOkOrFail),
      reaching("jpgWriteFromRect", with(kEncoding, {JPG_E_FAIL})),
      reaching("jpgWriteFromWinDIBits", with(kEncoding, {JPG_E_FAIL})),
      reaching("jpgWriteGetPartialBitstream", with(kEncoding, {JPG_E_FAIL})),
      reaching("jpgWritePrologToFile", {JPG_OK, JPG_E_OUT_OF_MEMORY, JPG_E_OPEN_FAILED}),
      reaching("jpgWritePrologToMemory", {JPG_OK, JPG_E_OUT_OF_MEMORY}),
      within("jpgWriteSetImageSize", kOnlyOk),
      within("jpgWriteSetNoColorConversion", kOnlyOk),
      within("jpgWriteSetNumberOfComponents", kOnlyOk),
      within("jpgWriteSetQuantizationFactor", kOnlyOk),
      within("jpgWriteSetRestartInterval", kOnlyOk),
      within("jpgWriteSetSpatialPredictor", kOnlyOk),
      within("jpgWriteSetSubsamplingFactor", kOnlyOk),
      reaching("jpgWriteSpatialFromRect", kEncoding),
      reaching("jpgWriteWriteMarkerCode", kWriting),
      reaching("jpgWriteWriteMarkerData", kWriting),
      reaching("jpgWriteWriteMarkerSegment", kWriting),
  };
}

Function *find(const char *name) {
  for (Function &f : functions()) {
    if (std::strcmp(f.name, name) == 0) return &f;
  }
  return nullptr;
}

bool contains(const Codes &codes, uint32_t code) {
  for (const uint32_t c : codes) {
    if (c == code) return true;
  }
  return false;
}

// These close the handle's file, and tell of it when they can't.
bool closesFile(const char *name) {
  return std::strcmp(name, "jpgReadEpilog") == 0 || std::strcmp(name, "jpgWriteEpilogToFile") == 0;
}

}  // namespace

std::vector<Function> &functions() {
  static std::vector<Function> all = makeFunctions();
  return all;
}

bool Work::wantsMeasure(const char *name) {
  constexpr uint32_t kEnough = 200;
  const Function *function = find(name);
  return function != nullptr && function->measured < kEnough;
}

bool Work::note(const char *name, uint32_t code) {
  const size_t stack = measuring_ ? usedStack() : 0;
  Function *function = find(name);
  bool known = false;
  for (const char *other : called_) known = known || std::strcmp(other, name) == 0;
  if (!known) called_.push_back(name);
  if (function == nullptr || !contains(function->codes, code)) {
    std::printf("%s gives %08lX, which isn't documented\n", name, static_cast<unsigned long>(code));
    undocumented_++;
  }
  const uint32_t closeFaults = jpg::faulty::faults(jpg::faulty::Operation::kClose);
  if (closeFaults > closeFaults_ && closesFile(name) && code == JPG_OK) {
    std::printf("%s succeeds though its file can't be closed\n", name);
    undocumented_++;
  }
  closeFaults_ = closeFaults;
  if (function != nullptr) {
    function->measured += measuring_ ? 1 : 0;
    if (stack > function->stack) function->stack = stack;
    const bool happened = jpg::faulty::faultHappened();
    function->calls += armed_ ? 1 : 0;
    function->strikes += happened && !struck_ ? 1 : 0;
    struck_ = happened;
  }
  return code == JPG_OK;
}

void Work::fold(const void *data, size_t size) {
  jpgtest::expectStored(data, size);
  const auto *bytes = static_cast<const uint8_t *>(data);
  for (size_t i = 0; i < size; i++) digest_ = (digest_ ^ bytes[i]) * 0x100000001B3U;
}

}  // namespace faults
