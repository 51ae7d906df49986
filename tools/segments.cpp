// SPDX-License-Identifier: MIT
// jpgtool segments
#include <cinttypes>
#include <cstdio>

#include "commands.h"
#include "fileList.h"
#include "report.h"
#include "streamInfo.h"

namespace jpgtool {

const char kSegmentsHelp[] =
    "Usage: jpgtool segments FILE... [OPTION...]\n"
    "\n"
    "Lists every marker segment of JPEG files (- is standard input), also between scans and "
    "behind\n"
    "them, with its offset and the length of its data; of scans the coded bytes; and what is odd:\n"
    "stray bytes, segments beyond the end, a missing end marker. Nothing is decoded, so files of\n"
    "any kind will do.\n"
    "\n"
    "  -r        folders, too: every JPEG file in them\n"
    "  --json    as JSON, errors too\n";

namespace {

// The scan whose header is at an offset.
const ScanInfo *scanAt(const StreamInfo &info, uint64_t offset) {
  for (const ScanInfo &scan : info.scans) {
    if (scan.offset == offset) return &scan;
  }
  return nullptr;
}

void printText(const Input &input, const StreamInfo &info) {
  std::printf("%s\n", input.name().c_str());
  for (const Segment &s : info.segments) {
    std::printf("  %-5s at %" PRIu64 ", %" PRIu32 " bytes", markerName(s.marker).c_str(), s.offset,
                s.length);
    const ScanInfo *scan = scanAt(info, s.offset);
    if (scan != nullptr) std::printf(", then %" PRIu64 " coded bytes", scan->bytes);
    std::printf("\n");
  }
  for (const std::string &remark : info.remarks) std::printf("remark: %s\n", remark.c_str());
}

Json jsonOf(const Input &input, const StreamInfo &info) {
  Json segments = Json::array();
  for (const Segment &s : info.segments) {
    Json entry = {{"marker", markerName(s.marker)},
                  {"code", s.marker},
                  {"offset", s.offset},
                  {"length", s.length}};
    const ScanInfo *scan = scanAt(info, s.offset);
    if (scan != nullptr) entry["codedBytes"] = scan->bytes;
    segments.push_back(entry);
  }
  return {{"file", asText(input.name())},
          {"bytes", input.size()},
          {"segments", segments},
          {"remarks", info.remarks}};
}

int showSegments(const Input &input, const Options &, Json *json) {
  StreamInfo info;
  std::string why;
  const uint32_t r = describeStream(input, &info, &why);
  if (r != JPG_OK && info.segments.empty()) return fail(input.name(), why, r);
  if (jsonWanted()) *json = jsonOf(input, info);
  if (!jsonWanted()) printText(input, info);
  return kExitOk;
}

}  // namespace

int runSegments(const Words &words) { return showFiles("segments", words, {}, showSegments); }

}  // namespace jpgtool
