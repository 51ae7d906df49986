#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>
#include <dcmtk/dcmjpeg/djencode.h>
#include <dcmtk/dcmjpeg/djrplol.h>

#include "losslessYardstick.h"

namespace jpgbench {

bool encodeWithDcmtk(const Picture &picture, int predictor, Bytes *stream) {
  static const bool registered = [] {
    DJEncoderRegistration::registerCodecs();
    return true;
  }();
  DcmFileFormat file;
  DcmDataset *d = file.getDataset();
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
  const DJ_RPLossless settings(predictor, 0);
  if (!registered || d->chooseRepresentation(EXS_JPEGProcess14, &settings).bad()) return false;
  stream->assign(1, 0);  // the stream stays inside the data set
  return d->canWriteXfer(EXS_JPEGProcess14);
}

}  // namespace jpgbench
