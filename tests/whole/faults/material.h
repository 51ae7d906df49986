// SPDX-License-Identifier: MIT
// The streams that the scenarios read, made once and without faults. Those in files begin
// with a long comment, so that their scans reach over two blocks of the file.
#ifndef JPG_TESTS_WHOLE_FAULTS_MATERIAL_H
#define JPG_TESTS_WHOLE_FAULTS_MATERIAL_H

#include "whole/golden/suite.h"

namespace faults {

using golden::Bytes;
using golden::Stream;

struct Material {
  Stream sequential;          // colour, 4:2:0, segments of the caller's, an interval a row of MCUs
  Stream progressive;         // colour, 4:2:0, several scans
  Stream lossless;            // three components
  Stream exif;                // a thumbnail that is a JPEG stream of its own
  std::vector<Bytes> pieces;  // a stream as jpgWriteGetPartialBitstream() gives it
};

const Material &material();

// The same streams in files.
const std::basic_string<JpgWChar> &fileOf(const Stream &stream);
const std::basic_string<JpgWChar> &outputFile();
Bytes outputBytes();

// Makes all of it; files go into `folder`, whose name is ASCII. False when it can't.
bool prepare(const std::string &folder);
void cleanUp();

// Sizes of the pieces' picture, and the lines of a piece.
constexpr int32_t kPiecesWidth = 45, kPiecesHeight = 50, kPieceLines = 16;

}  // namespace faults

#endif
