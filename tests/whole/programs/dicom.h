// SPDX-License-Identifier: MIT
// The least that a medical image file needs, so that programs of that field read our
// streams and give us theirs.
#ifndef JPG_TESTS_WHOLE_PROGRAMS_DICOM_H
#define JPG_TESTS_WHOLE_PROGRAMS_DICOM_H

#include <cstdint>
#include <string>

#include "model/losslessWriter.h"

namespace jpgtest {

struct DicomImage {
  uint32_t width = 0, height = 0, components = 1, precision = 8;
};

// A file whose pixels are the lossless JPEG stream.
Bytes dicomOfStream(const DicomImage &image, const Bytes &stream);

// A file whose pixels are the samples as they are: bytes up to 8 bits, else words, low
// byte first.
Bytes dicomOfSamples(const DicomImage &image, const Bytes &samples);

// The bytes of the pixel element of a file, which must be its last element: samples, or
// the stream inside the first fragment. Empty when there is none.
Bytes samplesInDicom(const Bytes &file);
Bytes streamInDicom(const Bytes &file);

}  // namespace jpgtest

#endif
