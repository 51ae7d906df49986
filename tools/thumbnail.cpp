// jpgtool thumbnail
#include "commands.h"
#include "dib.h"
#include "exifReader.h"
#include "options.h"
#include "report.h"

namespace jpgtool {

const char kThumbnailHelp[] =
    "Usage: jpgtool thumbnail FILE -o OUT.bmp [--bits N] [--no-eoi]\n"
    "\n"
    "Decodes the Exif thumbnail of FILE into the bitmap file OUT.bmp.\n"
    "\n"
    "  --bits N   bits a pixel: 8 (grey, or reduced to a palette of 216 colours), 16\n"
    "             (reduced) or 24; without it 24 for colour and 8 for grey\n"
    "  --no-eoi   opens files without an end marker too\n";

namespace {

uint32_t readThumbnail(JPGEXIFHANDLE exif, Dib *dib) {
  uint32_t r = jpgExifReadThumbnailToWinDIBits(exif, nullptr, dib->bmi());
  if (r == JPG_OK) r = dib->allocate();
  return r == JPG_OK ? jpgExifReadThumbnailToWinDIBits(exif, dib->bits(), dib->bmi()) : r;
}

int failThumbnail(const std::string &file, uint32_t r) {
  if (r == JPG_E_NOT_FOUND) return fail(file, "has no thumbnail", r);
  if (r == JPG_E_UNSUPPORTED) return fail(file, "this kind of thumbnail is not supported", r);
  return fail(file, r);
}

// Bits 0 stands for those that fit.
int saveThumbnail(const std::string &in, JPGEXIFHANDLE exif, uint16_t bits,
                  const std::string &out) {
  Dib color(bits != 0 ? bits : 24);
  uint32_t r = readThumbnail(exif, &color);
  if (r == JPG_OK) return saveBitmap(color, out);
  if (r != JPG_E_UNSUPPORTED || bits != 0) return failThumbnail(in, r);
  Dib gray(8);
  r = readThumbnail(exif, &gray);
  return r == JPG_OK ? saveBitmap(gray, out) : failThumbnail(in, r);
}

}  // namespace

int runThumbnail(const Words &words) {
  Options options;
  std::string why;
  const std::vector<OptionRule> rules = {{"-o", true}, {"--bits", true}, {"--no-eoi", false}};
  if (!parseOptions(words, rules, &options, &why)) return failUsage(why);
  if (options.files.size() != 1) return failUsage("thumbnail takes one file");
  if (!options.has("-o")) return failUsage("thumbnail needs -o OUT.bmp");
  uint16_t bits = 0;
  if (options.has("--bits") && !parseBits(options.get("--bits"), &bits)) {
    return failUsage("--bits takes 8, 16 or 24");
  }
  const std::string &in = options.files[0];
  const std::string out = options.get("-o");
  if (const int status = checkBitmapFile(in, out); status != kExitOk) return status;
  ExifHandle exif;
  const uint32_t r = exif.open(in, options.has("--no-eoi") ? JPG_READ_COMPLETE : 0, &why);
  if (r != JPG_OK) return why.empty() ? fail(in, r) : fail(in, why, r);
  return saveThumbnail(in, exif.handle(), bits, out);
}

}  // namespace jpgtool
