// SPDX-License-Identifier: MIT
// DCMTK, for lossless encoding of 16 bits. The stream stays inside its data set.
#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcpixel.h>
#include <dcmtk/dcmdata/dcpixseq.h>
#include <dcmtk/dcmdata/dcpxitem.h>
#include <dcmtk/dcmdata/dctk.h>
#include <dcmtk/dcmjpeg/djencode.h>
#include <dcmtk/dcmjpeg/djrplol.h>

#include "codec.h"

namespace jpgbench {
namespace {

void describe(const Picture &picture, DcmDataset *d) {
  d->putAndInsertString(DCM_SOPClassUID, UID_SecondaryCaptureImageStorage);
  d->putAndInsertString(DCM_SOPInstanceUID, "1.2.3.4");
  d->putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2");
  d->putAndInsertUint16(DCM_SamplesPerPixel, 1);
  d->putAndInsertUint16(DCM_Rows, static_cast<Uint16>(picture.height));
  d->putAndInsertUint16(DCM_Columns, static_cast<Uint16>(picture.width));
  d->putAndInsertUint16(DCM_BitsAllocated, 16);
  d->putAndInsertUint16(DCM_BitsStored, 16);
  d->putAndInsertUint16(DCM_HighBit, 15);
  d->putAndInsertUint16(DCM_PixelRepresentation, 0);
  const auto *words = reinterpret_cast<const Uint16 *>(picture.pixels.data());
  d->putAndInsertUint16Array(DCM_PixelData, words, picture.pixels.size() / 2);
}

// The stream is the second item of the pixels' sequence, behind the table of offsets.
bool keepStream(DcmDataset *d, Output *stream) {
  DcmElement *element = nullptr;
  if (d->findAndGetElement(DCM_PixelData, element).bad()) return false;
  auto *pixels = dynamic_cast<DcmPixelData *>(element);
  if (pixels == nullptr) return false;
  E_TransferSyntax syntax = EXS_Unknown;
  const DcmRepresentationParameter *how = nullptr;
  pixels->getCurrentRepresentationKey(syntax, how);
  DcmPixelSequence *sequence = nullptr;
  if (pixels->getEncapsulatedRepresentation(syntax, how, sequence).bad()) return false;
  DcmPixelItem *item = nullptr;
  Uint8 *bytes = nullptr;
  if (sequence->getItem(item, 1).bad() || item->getUint8Array(bytes).bad()) return false;
  keepBytes(bytes, item->getLength(), stream);
  return true;
}

bool encode(const Job &job, const Picture &picture, Output *stream) {
  static const bool registered = [] {
    DJEncoderRegistration::registerCodecs();
    return true;
  }();
  DcmFileFormat file;
  DcmDataset *d = file.getDataset();
  describe(picture, d);
  const DJ_RPLossless settings(job.coding.predictor, 0);
  if (!registered || d->chooseRepresentation(EXS_JPEGProcess14, &settings).bad()) return false;
  if (!d->canWriteXfer(EXS_JPEGProcess14)) return false;
  return !stream->keep || keepStream(d, stream);
}

bool decode(const Job & /*job*/, const Bytes & /*stream*/, Output * /*pixels*/) { return false; }

bool can(const Job &job) {
  return job.lossless() && job.task == Task::kEncode && job.bits == 16 && job.channels == 1;
}

}  // namespace

extern const Codec *dcmtkCodec();
JPG_BENCH_EXPORT const Codec *dcmtkCodec() {
  static const Codec codec = {"DCMTK " OFFIS_DCMTK_VERSION_STRING, can, decode, encode};
  return &codec;
}

}  // namespace jpgbench
