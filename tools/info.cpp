// SPDX-License-Identifier: MIT
// jpgtool info
#include <cinttypes>
#include <cstdio>

#include "commands.h"
#include "exifHandle.h"
#include "fileList.h"
#include "icc.h"
#include "report.h"
#include "streamInfo.h"

namespace jpgtool {

const char kInfoHelp[] =
    "Usage: jpgtool info FILE... [OPTION...]\n"
    "\n"
    "Prints what the headers of JPEG files say (- is standard input): size, channels, precision,\n"
    "coding process, sampling, restart interval, density, the encoder's quality (estimated by the\n"
    "quantisation table), orientation, colour profile, place of the Exif thumbnail, scans, what "
    "is\n"
    "odd, and the marker segments up to the first scan, each with its offset in the file and the\n"
    "length of its data. Nothing is decoded, so truncated files and kinds that can't be decoded\n"
    "will do.\n"
    "\n"
    "  -r        folders, too: every JPEG file in them\n"
    "  --json    as JSON, errors too; several files and folders give an array\n";

namespace {

const char *unitsName(uint32_t units) {
  return units == 1 ? "dots per inch" : units == 2 ? "dots per centimetre" : "aspect ratio";
}

const char *orientationName(uint32_t orientation) {
  static constexpr const char *kNames[] = {"upright",
                                           "mirrored",
                                           "to be turned by 180 degrees",
                                           "mirrored, to be turned by 180 degrees",
                                           "mirrored, to be turned anticlockwise",
                                           "to be turned clockwise",
                                           "mirrored, to be turned clockwise",
                                           "to be turned anticlockwise"};
  return kNames[orientation - 1];
}

// What Exif and the colour profile tell.
struct Extras {
  bool exif = false, thumbnail = false, profile = false;
  uint32_t orientation = 1;
  uint64_t thumbnailOffset = 0, thumbnailBytes = 0;
  size_t profileBytes = 0;
  IccSummary summary;
};

Extras extrasOf(const Input &input) {
  Extras extras;
  jpg::ExifData exif;
  uint64_t offset = 0;
  std::string why;
  if (readExif(input, &exif, &offset, &why) == JPG_OK) {
    extras.exif = true;
    extras.orientation = exif.orientation();
    const auto thumbnail = exif.thumbnail();
    extras.thumbnail = thumbnail.ok();
    if (thumbnail) {
      extras.thumbnailOffset =
          offset + static_cast<uint64_t>(thumbnail->data() - exif.tiff().data());
      extras.thumbnailBytes = thumbnail->size();
    }
  }
  const Bytes profile = iccProfileOf(input);
  extras.profile = !profile.empty();
  extras.profileBytes = profile.size();
  summarise(profile, &extras.summary);
  return extras;
}

void printScans(const StreamInfo &info) {
  std::printf("scans: %zu\n", info.scans.size());
  if (info.scans.size() < 2) return;
  for (const ScanInfo &scan : info.scans) {
    std::printf("  at %" PRIu64 ": components", scan.offset);
    for (const uint32_t id : scan.components) std::printf(" %" PRIu32, id);
    std::printf(", coefficients %" PRIu32 " to %" PRIu32 ", bits %" PRIu32 " to %" PRIu32
                ", %" PRIu64 " bytes\n",
                scan.first, scan.last, scan.high, scan.low, scan.bytes);
  }
}

void printExtras(const StreamInfo &info, const Extras &extras) {
  if (info.quality != 0) {
    std::printf("quality: %s%" PRIu32 "\n", info.qualityExact ? "" : "about ", info.quality);
  }
  if (extras.exif) {
    std::printf("orientation: %" PRIu32 " (%s)\n", extras.orientation,
                orientationName(extras.orientation));
  }
  if (extras.profile) {
    std::printf("colour profile: %zu bytes%s%s\n", extras.profileBytes,
                extras.summary.description.empty() ? "" : ", ", extras.summary.description.c_str());
  }
  if (extras.thumbnail) {
    std::printf("thumbnail: %" PRIu64 " bytes at %" PRIu64 "\n", extras.thumbnailBytes,
                extras.thumbnailOffset);
  }
}

void printText(const std::string &file, const StreamInfo &info, const Extras &extras) {
  const Frame &frame = info.frame;
  const Headers &headers = info.headers;
  const std::string chroma = chromaName(headers.components);
  std::printf("%s\n", file.c_str());
  std::printf("size: %" PRIu32 " x %" PRIu32 "%s\n", frame.width, frame.height,
              frame.height == 0 ? " (height from a DNL segment)" : "");
  std::printf("channels: %" PRIu32 "\n", frame.channels);
  std::printf("precision: %" PRIu32 " bits\n", frame.precision);
  std::printf("process: %s\n", frameName(info.frameMarker).c_str());
  std::printf("sampling:");
  for (const Component &c : headers.components) {
    std::printf(" %" PRIu32 ":%" PRIu32 "x%" PRIu32, c.id, c.h, c.v);
  }
  if (!chroma.empty()) std::printf("\nchroma: %s", chroma.c_str());
  std::printf("\nrestart interval: %" PRIu32 "\n", headers.restartInterval);
  if (headers.jfif) {
    std::printf("density: %" PRIu32 " x %" PRIu32 " (%s)\n", headers.xDensity, headers.yDensity,
                unitsName(headers.densityUnits));
  }
  if (headers.adobeTransform >= 0) std::printf("Adobe transform: %d\n", headers.adobeTransform);
  printExtras(info, extras);
  printScans(info);
  for (const std::string &remark : info.remarks) std::printf("remark: %s\n", remark.c_str());
  std::printf("segments:\n");
  for (const Segment &s : headers.segments) {
    std::printf("  %-5s at %" PRIu64 ", %" PRIu32 " bytes\n", markerName(s.marker).c_str(),
                s.offset, s.length);
  }
}

Json scansJson(const StreamInfo &info) {
  Json scans = Json::array();
  for (const ScanInfo &scan : info.scans) {
    scans.push_back({{"offset", scan.offset},
                     {"components", scan.components},
                     {"coefficients", {scan.first, scan.last}},
                     {"bits", {scan.high, scan.low}},
                     {"bytes", scan.bytes},
                     {"restarts", scan.restarts}});
  }
  return scans;
}

void addExtras(const StreamInfo &info, const Extras &extras, Json *json) {
  if (info.quality != 0) {
    (*json)["quality"] = {{"estimate", info.quality}, {"exact", info.qualityExact}};
  }
  if (extras.exif) (*json)["orientation"] = extras.orientation;
  if (extras.profile) {
    (*json)["icc"] = {{"bytes", extras.profileBytes},
                      {"description", asText(extras.summary.description)}};
  }
  if (extras.thumbnail) {
    (*json)["thumbnail"] = {{"offset", extras.thumbnailOffset}, {"length", extras.thumbnailBytes}};
  }
}

Json jsonOf(const Input &input, const StreamInfo &info, const Extras &extras) {
  const Frame &frame = info.frame;
  const Headers &headers = info.headers;
  Json json = {{"file", asText(input.name())},
               {"bytes", input.size()},
               {"width", frame.width},
               {"height", frame.height},
               {"channels", frame.channels},
               {"precision", frame.precision},
               {"process", frameName(info.frameMarker)}};
  if (info.dnlLines != 0) json["linesByDnl"] = info.dnlLines;
  json["components"] = Json::array();
  for (const Component &c : headers.components) {
    json["components"].push_back({{"id", c.id}, {"h", c.h}, {"v", c.v}, {"table", c.table}});
  }
  if (const std::string chroma = chromaName(headers.components); !chroma.empty()) {
    json["chroma"] = chroma;
  }
  json["restartInterval"] = headers.restartInterval;
  if (headers.jfif) {
    json["density"] = {
        {"x", headers.xDensity}, {"y", headers.yDensity}, {"units", headers.densityUnits}};
  }
  if (headers.adobeTransform >= 0) json["adobeTransform"] = headers.adobeTransform;
  addExtras(info, extras, &json);
  json["scans"] = scansJson(info);
  json["remarks"] = info.remarks;
  json["segments"] = Json::array();
  for (const Segment &s : headers.segments) {
    json["segments"].push_back({{"marker", markerName(s.marker)},
                                {"code", s.marker},
                                {"offset", s.offset},
                                {"length", s.length}});
  }
  return json;
}

int showInfo(const Input &input, const Options &, Json *json) {
  StreamInfo info;
  std::string why;
  const uint32_t r = describeStream(input, &info, &why);
  if (r != JPG_OK) return fail(input.name(), why, r);
  const Extras extras = extrasOf(input);
  if (jsonWanted()) *json = jsonOf(input, info, extras);
  if (!jsonWanted()) printText(input.name(), info, extras);
  return kExitOk;
}

}  // namespace

int runInfo(const Words &words) { return showFiles("info", words, {}, showInfo); }

}  // namespace jpgtool
