// SPDX-License-Identifier: MIT
// jpgtool thumbnail
#include "commands.h"
#include "dib.h"
#include "exifHandle.h"
#include "options.h"
#include "report.h"
#include "rowSource.h"

namespace jpgtool {

const char kThumbnailHelp[] =
    "Usage: jpgtool thumbnail FILE -o OUT.bmp [OPTION...]\n"
    "\n"
    "Decodes the Exif thumbnail of FILE (- is standard input) into the bitmap file OUT.bmp (- is\n"
    "standard output), as it is stored. The picture itself need not be one that can be decoded.\n"
    "\n"
    "  --bits N        bits a pixel: 8 (grey, or reduced to a palette of 216 colours), 16\n"
    "                  (reduced) or 24; without it 24 for colour and 8 for grey\n"
    "  --max-pixels N  refuses thumbnails whose header gives more pixels (500M; K, M and G\n"
    "                  stand for thousands, millions ...)\n"
    "  --max-memory N  refuses thumbnails that need more bytes of memory (2G; K, M and G\n"
    "                  stand for KiB, MiB ...)\n"
    "  --strict        no file and no thumbnail that the device's decoder refuses\n"
    "  --no-eoi        with --strict: also opens files without an end marker\n"
    "  --json          errors as JSON\n";

namespace {

struct ThumbnailJob {
  std::string in, out;
  uint16_t bits = 0;  // 0: those that fit
  Limits limits;
};

uint32_t checkDib(const Limits &limits, Dib *dib, std::string *why) {
  const BITMAPINFOHEADER &header = dib->bmi()->bmiHeader;
  const uint32_t r = checkPixels(limits, static_cast<uint32_t>(header.biWidth),
                                 static_cast<uint32_t>(header.biHeight), why);
  return r == JPG_OK ? checkMemory(limits, dib->bytes(), why) : r;
}

uint32_t readThumbnail(JPGEXIFHANDLE exif, const Limits &limits, Dib *dib, std::string *why) {
  uint32_t r = jpgExifReadThumbnailToWinDIBits(exif, nullptr, dib->bmi());
  if (r == JPG_OK) r = checkDib(limits, dib, why);
  if (r == JPG_OK) r = dib->allocate();
  return r == JPG_OK ? jpgExifReadThumbnailToWinDIBits(exif, dib->bits(), dib->bmi()) : r;
}

int failThumbnail(const std::string &file, uint32_t r) {
  if (r == JPG_E_NOT_FOUND) return fail(file, "has no thumbnail", r);
  if (r == JPG_E_UNSUPPORTED) return fail(file, "this kind of thumbnail is not supported", r);
  return fail(file, r);
}

// Writes a thumbnail, and says if it is damaged.
int finishThumbnail(const ThumbnailJob &job, const Dib &dib, uint32_t r) {
  const int status = saveBitmap(dib, job.out);
  if (status != kExitOk || r == JPG_OK) return status;
  fail(job.in, std::string("thumbnail: ") + meaningOf(r), r);
  return kExitDamaged;
}

bool isDelivered(uint32_t r) { return r == JPG_OK || r == JPG_E_DAMAGED; }

int saveThumbnail(const ThumbnailJob &job, JPGEXIFHANDLE exif) {
  std::string why;
  Dib color(job.bits != 0 ? job.bits : 24);
  uint32_t r = readThumbnail(exif, job.limits, &color, &why);
  if (isDelivered(r)) return finishThumbnail(job, color, r);
  if (!why.empty()) return fail(job.in, "thumbnail: " + why, r);
  if (r != JPG_E_UNSUPPORTED || job.bits != 0) return failThumbnail(job.in, r);
  Dib gray(8);
  r = readThumbnail(exif, job.limits, &gray, &why);
  if (!why.empty()) return fail(job.in, "thumbnail: " + why, r);
  return isDelivered(r) ? finishThumbnail(job, gray, r) : failThumbnail(job.in, r);
}

}  // namespace

int runThumbnail(const Words &words) {
  Options options;
  std::string why;
  const std::vector<OptionRule> rules = {
      {"-o", true},      {"--bits", true},       {"--no-eoi", false},   {"--strict", false},
      {"--json", false}, {"--max-pixels", true}, {"--max-memory", true}};
  if (!parseOptions(words, rules, &options, &why)) return failUsage(why);
  if (options.files.size() != 1) return failUsage("thumbnail takes one file");
  if (outputOf(options).empty()) return failUsage("thumbnail needs -o OUT.bmp");
  ThumbnailJob job;
  if (options.has("--bits") && !parseBits(options.get("--bits"), &job.bits)) {
    return failUsage("--bits takes 8, 16 or 24");
  }
  if (!parseLimits(options, &job.limits, &why)) return failUsage(why);
  job.in = options.files[0];
  job.out = outputOf(options);
  if (const int status = checkBitmapFile(job.in, job.out); status != kExitOk) return status;
  Input input;
  uint32_t r = input.open(job.in, &why);
  if (r != JPG_OK) return fail(job.in, why, r);
  ReadSettings settings;
  takeReadOptions(options, &settings);
  ExifHandle exif;
  r = exif.open(input, settings.openFlags, &why);
  if (r != JPG_OK) return why.empty() ? fail(job.in, r) : fail(job.in, why, r);
  return saveThumbnail(job, exif.handle());
}

}  // namespace jpgtool
