// jpgtool info
#include <cinttypes>
#include <cstdio>

#include "commands.h"
#include "json.h"
#include "options.h"
#include "reader.h"
#include "report.h"

namespace jpgtool {

const char kInfoHelp[] =
    "Usage: jpgtool info FILE [--json] [--no-eoi] [--max-memory N]\n"
    "\n"
    "Prints size, channels, precision, coding process, sampling, restart interval,\n"
    "density and the marker segments up to the first scan, each with its offset in\n"
    "the file and the length of its data.\n"
    "\n"
    "  --json          as JSON\n"
    "  --no-eoi        also opens files without an end marker\n"
    "  --max-memory N  refuses files that need more bytes of memory to open: the coefficients\n"
    "                  of progressive ones (2G; K, M and G stand for KiB, MiB ...)\n";

namespace {

const char *unitsName(uint32_t units) {
  return units == 1 ? "dots per inch" : units == 2 ? "dots per centimetre" : "aspect ratio";
}

void printText(const std::string &file, const Frame &frame, const Headers &headers) {
  std::printf("%s\n", file.c_str());
  std::printf("size: %" PRIu32 " x %" PRIu32 "%s\n", frame.width, frame.height,
              frame.height == 0 ? " (height from a DNL segment)" : "");
  std::printf("channels: %" PRIu32 "\n", frame.channels);
  std::printf("precision: %" PRIu32 " bits\n", frame.precision);
  std::printf("process: %s\n", processName(frame.process));
  std::printf("sampling:");
  for (const Component &c : headers.components) {
    std::printf(" %" PRIu32 ":%" PRIu32 "x%" PRIu32, c.id, c.h, c.v);
  }
  std::printf("\nrestart interval: %" PRIu32 "\n", headers.restartInterval);
  if (headers.jfif) {
    std::printf("density: %" PRIu32 " x %" PRIu32 " (%s)\n", headers.xDensity, headers.yDensity,
                unitsName(headers.densityUnits));
  }
  if (headers.adobeTransform >= 0) std::printf("Adobe transform: %d\n", headers.adobeTransform);
  std::printf("segments:\n");
  for (const Segment &s : headers.segments) {
    std::printf("  %-5s at %" PRIu64 ", %" PRIu32 " bytes\n", markerName(s.marker).c_str(),
                s.offset, s.length);
  }
}

void printJson(const std::string &file, const Frame &frame, const Headers &headers) {
  std::printf("{\n  \"file\": %s,\n", quoted(file).c_str());
  std::printf("  \"width\": %" PRIu32 ",\n  \"height\": %" PRIu32 ",\n", frame.width, frame.height);
  std::printf("  \"channels\": %" PRIu32 ",\n  \"precision\": %" PRIu32 ",\n", frame.channels,
              frame.precision);
  std::printf("  \"process\": \"%s\",\n  \"components\": [", processName(frame.process));
  const char *comma = "";
  for (const Component &c : headers.components) {
    std::printf("%s{\"id\": %" PRIu32 ", \"h\": %" PRIu32 ", \"v\": %" PRIu32
                ", \"table\": %" PRIu32 "}",
                comma, c.id, c.h, c.v, c.table);
    comma = ", ";
  }
  std::printf("],\n  \"restartInterval\": %" PRIu32 ",\n", headers.restartInterval);
  if (headers.jfif) {
    std::printf("  \"density\": {\"x\": %" PRIu32 ", \"y\": %" PRIu32 ", \"units\": %" PRIu32
                "},\n",
                headers.xDensity, headers.yDensity, headers.densityUnits);
  }
  if (headers.adobeTransform >= 0) {
    std::printf("  \"adobeTransform\": %d,\n", headers.adobeTransform);
  }
  std::printf("  \"segments\": [");
  comma = "\n";
  for (const Segment &s : headers.segments) {
    std::printf("%s    {\"marker\": \"%s\", \"code\": %u, \"offset\": %" PRIu64
                ", \"length\": %" PRIu32 "}",
                comma, markerName(s.marker).c_str(), static_cast<unsigned>(s.marker), s.offset,
                s.length);
    comma = ",\n";
  }
  std::printf("\n  ]\n}\n");
}

}  // namespace

int runInfo(const Words &words) {
  Options options;
  std::string why;
  if (!parseOptions(words, {{"--json", false}, {"--no-eoi", false}, {"--max-memory", true}},
                    &options, &why)) {
    return failUsage(why);
  }
  if (options.files.size() != 1) return failUsage("info takes one file");
  const std::string &file = options.files[0];
  Reader reader;
  Frame frame;
  Headers headers;
  Limits limits;
  if (!parseLimits(options, &limits, &why)) return failUsage(why);
  uint32_t r = reader.open(file, options.has("--no-eoi") ? JPG_READ_COMPLETE : 0, limits, &why);
  if (r == JPG_OK) r = readFrame(reader.handle(), &frame);
  if (r == JPG_OK) r = readHeaders(reader.handle(), &headers);
  if (r != JPG_OK) return why.empty() ? fail(file, r) : fail(file, why, r);
  if (options.has("--json")) {
    printJson(file, frame, headers);
  } else {
    printText(file, frame, headers);
  }
  return kExitOk;
}

}  // namespace jpgtool
