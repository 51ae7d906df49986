// SPDX-License-Identifier: MIT
#include "exifNames.h"

#include <algorithm>
#include <iterator>

namespace jpgtool {
namespace {

struct TagName {
  uint16_t tag;
  const char *name;
};

// Sorted by tag. TIFF 6 tags belong to the 0th and 1st directory, the others to the Exif directory;
// no number is used twice.
constexpr TagName kTiffAndExifTags[] = {
    {254, "NewSubfileType"},
    {255, "SubfileType"},
    {256, "ImageWidth"},
    {257, "ImageLength"},
    {258, "BitsPerSample"},
    {259, "Compression"},
    {262, "PhotometricInterpretation"},
    {263, "Threshholding"},
    {266, "FillOrder"},
    {269, "DocumentName"},
    {270, "ImageDescription"},
    {271, "Make"},
    {272, "Model"},
    {273, "StripOffsets"},
    {274, "Orientation"},
    {277, "SamplesPerPixel"},
    {278, "RowsPerStrip"},
    {279, "StripByteCounts"},
    {280, "MinSampleValue"},
    {281, "MaxSampleValue"},
    {282, "XResolution"},
    {283, "YResolution"},
    {284, "PlanarConfiguration"},
    {285, "PageName"},
    {296, "ResolutionUnit"},
    {297, "PageNumber"},
    {301, "TransferFunction"},
    {305, "Software"},
    {306, "DateTime"},
    {315, "Artist"},
    {316, "HostComputer"},
    {317, "Predictor"},
    {318, "WhitePoint"},
    {319, "PrimaryChromaticities"},
    {320, "ColorMap"},
    {338, "ExtraSamples"},
    {512, "JPEGProc"},
    {513, "JPEGInterchangeFormat"},
    {514, "JPEGInterchangeFormatLength"},
    {529, "YCbCrCoefficients"},
    {530, "YCbCrSubSampling"},
    {531, "YCbCrPositioning"},
    {532, "ReferenceBlackWhite"},
    {33432, "Copyright"},
    {33434, "ExposureTime"},
    {33437, "FNumber"},
    {34665, "ExifIFDPointer"},
    {34850, "ExposureProgram"},
    {34852, "SpectralSensitivity"},
    {34853, "GPSInfoIFDPointer"},
    {34855, "ISOSpeedRatings"},
    {34856, "OECF"},
    {36864, "ExifVersion"},
    {36867, "DateTimeOriginal"},
    {36868, "DateTimeDigitized"},
    {37121, "ComponentsConfiguration"},
    {37122, "CompressedBitsPerPixel"},
    {37377, "ShutterSpeedValue"},
    {37378, "ApertureValue"},
    {37379, "BrightnessValue"},
    {37380, "ExposureBiasValue"},
    {37381, "MaxApertureValue"},
    {37382, "SubjectDistance"},
    {37383, "MeteringMode"},
    {37384, "LightSource"},
    {37385, "Flash"},
    {37386, "FocalLength"},
    {37396, "SubjectArea"},
    {37500, "MakerNote"},
    {37510, "UserComment"},
    {37520, "SubSecTime"},
    {37521, "SubSecTimeOriginal"},
    {37522, "SubSecTimeDigitized"},
    {40960, "FlashpixVersion"},
    {40961, "ColorSpace"},
    {40962, "PixelXDimension"},
    {40963, "PixelYDimension"},
    {40964, "RelatedSoundFile"},
    {40965, "InteroperabilityIFDPointer"},
    {41483, "FlashEnergy"},
    {41484, "SpatialFrequencyResponse"},
    {41486, "FocalPlaneXResolution"},
    {41487, "FocalPlaneYResolution"},
    {41488, "FocalPlaneResolutionUnit"},
    {41492, "SubjectLocation"},
    {41493, "ExposureIndex"},
    {41495, "SensingMethod"},
    {41728, "FileSource"},
    {41729, "SceneType"},
    {41730, "CFAPattern"},
    {41985, "CustomRendered"},
    {41986, "ExposureMode"},
    {41987, "WhiteBalance"},
    {41988, "DigitalZoomRatio"},
    {41989, "FocalLengthIn35mmFilm"},
    {41990, "SceneCaptureType"},
    {41991, "GainControl"},
    {41992, "Contrast"},
    {41993, "Saturation"},
    {41994, "Sharpness"},
    {41995, "DeviceSettingDescription"},
    {41996, "SubjectDistanceRange"},
    {42016, "ImageUniqueID"},
};

constexpr TagName kGpsTags[] = {
    {0, "GPSVersionID"},        {1, "GPSLatitudeRef"},
    {2, "GPSLatitude"},         {3, "GPSLongitudeRef"},
    {4, "GPSLongitude"},        {5, "GPSAltitudeRef"},
    {6, "GPSAltitude"},         {7, "GPSTimeStamp"},
    {8, "GPSSatellites"},       {9, "GPSStatus"},
    {10, "GPSMeasureMode"},     {11, "GPSDOP"},
    {12, "GPSSpeedRef"},        {13, "GPSSpeed"},
    {14, "GPSTrackRef"},        {15, "GPSTrack"},
    {16, "GPSImgDirectionRef"}, {17, "GPSImgDirection"},
    {18, "GPSMapDatum"},        {19, "GPSDestLatitudeRef"},
    {20, "GPSDestLatitude"},    {21, "GPSDestLongitudeRef"},
    {22, "GPSDestLongitude"},   {23, "GPSDestBearingRef"},
    {24, "GPSDestBearing"},     {25, "GPSDestDistanceRef"},
    {26, "GPSDestDistance"},    {27, "GPSProcessingMethod"},
    {28, "GPSAreaInformation"}, {29, "GPSDateStamp"},
    {30, "GPSDifferential"},
};

constexpr TagName kInteroperabilityTags[] = {
    {1, "InteroperabilityIndex"}, {2, "InteroperabilityVersion"}, {4096, "RelatedImageFileFormat"},
    {4097, "RelatedImageWidth"},  {4098, "RelatedImageLength"},
};

template <size_t N>
constexpr bool isSorted(const TagName (&table)[N]) {
  for (size_t i = 1; i < N; i++) {
    if (table[i - 1].tag >= table[i].tag) return false;
  }
  return true;
}

static_assert(isSorted(kTiffAndExifTags) && isSorted(kGpsTags) && isSorted(kInteroperabilityTags),
              "the binary search needs sorted tags");

template <size_t N>
const char *find(const TagName (&table)[N], uint16_t tag) {
  const TagName *end = std::end(table);
  const TagName *found = std::lower_bound(
      table, end, tag, [](const TagName &entry, uint16_t sought) { return entry.tag < sought; });
  return found != end && found->tag == tag ? found->name : nullptr;
}

}  // namespace

const char *exifTagName(jpg::ExifDirectory directory, uint16_t tag) {
  if (directory == jpg::ExifDirectory::kGps) return find(kGpsTags, tag);
  if (directory == jpg::ExifDirectory::kInteroperability) return find(kInteroperabilityTags, tag);
  return find(kTiffAndExifTags, tag);
}

const char *exifTypeName(jpg::ExifType type) {
  static constexpr const char *kNames[] = {nullptr,     "BYTE",  "ASCII",     "SHORT",  "LONG",
                                           "RATIONAL",  "SBYTE", "UNDEFINED", "SSHORT", "SLONG",
                                           "SRATIONAL", "FLOAT", "DOUBLE"};
  const auto index = static_cast<size_t>(type);
  return index < std::size(kNames) ? kNames[index] : nullptr;
}

const char *exifDirectoryName(jpg::ExifDirectory directory) {
  static constexpr const char *kNames[] = {"0th", "1st", "Exif", "GPS", "Interoperability"};
  return kNames[static_cast<size_t>(directory)];
}

}  // namespace jpgtool
