// SPDX-License-Identifier: MIT
// jpgtool decode
#include <cerrno>
#include <cstdio>

#include "commands.h"
#include "decodeBitmap.h"
#include "decodeOptions.h"
#include "json.h"
#include "picture.h"
#include "report.h"

namespace jpgtool {

const char kDecodeHelp[] =
    "Usage: jpgtool decode FILE -o OUT [OPTION...]\n"
    "       jpgtool decode FILE... -o DIR/ [OPTION...]\n"
    "\n"
    "Decodes FILE (- is standard input) into the picture file OUT, band by band. OUT ends in\n"
    ".png, .bmp, .ppm, .pgm or .pam, or is - for standard output (PGM, PPM or PAM unless --to\n"
    "says otherwise), which it is without -o when FILE is -. Many files go into the folder DIR\n"
    "under their own names, several at a time; errors are shown at the end, and the exit status\n"
    "is that of the worst file. A file of the name OUT is replaced when the new one is complete.\n"
    "\n"
    "The picture is turned as Exif's orientation says. Damaged and unusual files are decoded as\n"
    "far as possible; rows that can't be decoded are grey, a message tells what was damaged and\n"
    "where, and the exit status is 2.\n"
    "\n"
    "  --to KIND        kind of the files in DIR, or of standard output: png, bmp, ppm, pgm or\n"
    "                   pam (ppm)\n"
    "  -j N             processes at a time, 1 to 256 (one for each processor)\n"
    "  --strict         the device's decoder: its bits, and no file that it refuses; damage is an\n"
    "                   error. See also --keep-going\n"
    "  --no-orient      the picture as it is stored\n"
    "  --bits N         writes a .bmp file of 8 bits a pixel (grey, or reduced to a palette of\n"
    "                   216 colours), 16 (reduced) or 24; keeps the whole picture in memory\n"
    "  --raw            components as coded, without colour conversion; two and four\n"
    "                   components need .pam\n"
    "  --scale 1/N      at 1/2, 1/4 or 1/8 of the size\n"
    "  --scans N        the picture after the first N scans of a progressive file\n"
    "  --each-scan DIR  instead of OUT: a picture DIR/scan-NNN.ppm (.pgm, .pam) after each\n"
    "                   scan of a progressive file\n"
    "  --rows A:B       only rows A to B - 1 of the output, counted from 0 in the picture as it "
    "is\n"
    "                   stored, which isn't turned; without A from the top, without B to the\n"
    "                   bottom. If the file has all its restart markers, at ends of MCU rows,\n"
    "                   intervals above A are skipped without decoding\n"
    "  --max-scans N    refuses progressive files of more than N scans (1000)\n"
    "  --max-pixels N   refuses files whose header gives more pixels, width times height,\n"
    "                   before decoding (500M; K, M and G stand for thousands, millions ...)\n"
    "  --max-memory N   refuses files that need more bytes of memory by their header: the\n"
    "                   coefficients of a progressive file, the picture with --bits or when it is\n"
    "                   turned (2G; K, M and G stand for KiB, MiB ...)\n"
    "  --no-eoi         with --strict: also opens files without an end marker\n"
    "  --keep-going     keeps what was decoded of a damaged file even with --strict, or when all\n"
    "                   of it is grey\n"
    "  --json           results and errors as JSON\n";

namespace {

// What was written, for --json.
void tell(const DecodeJob &job, const PixelFormat &format, uint32_t damage) {
  if (!jsonWanted() || job.out == "-") return;
  printJson({{"file", asText(job.in)},
             {"output", asText(job.out)},
             {"width", format.width},
             {"height", format.height},
             {"channels", format.channels},
             {"maxValue", format.maxValue},
             {"damaged", damage != JPG_OK}});
}

// Copies all rows. The result is the exit status.
int copyRows(const DecodeJob &job, RowSource *source, PictureWriter *writer) {
  const PixelFormat &format = source->format();
  Progress progress("decoding " + job.in);
  for (uint32_t y = 0; y < format.height;) {
    uint32_t rows = 0;
    const uint32_t r = source->next(&rows);
    if (r != JPG_OK) return fail(job.in, source->whyFailed(r), r);
    if (!writer->putRows(source->band(), rowBytes(format), rows)) {
      return fail(job.out, JPG_E_WRITE_FAULT);
    }
    y += rows;
    progress.update(y, format.height);
  }
  return writer->end() ? kExitOk : fail(job.out, JPG_E_WRITE_FAULT);
}

// Writes one picture from an open source.
int writePicture(const DecodeJob &job, RowSource *source) {
  FileKind kind = FileKind::kPpm;
  std::string why;
  if (!chooseKind(job.out, job.kind, source->format(), &kind, &why)) {
    return fail(job.out, why, JPG_E_UNSUPPORTED);
  }
  OutputFile out;
  if (!out.open(job.out, &why)) return fail(job.out, why, JPG_E_OPEN_FAILED);
  PictureWriter writer(&out, kind, source->format());
  if (!writer.begin()) return fail(job.out, JPG_E_WRITE_FAULT);
  const int status = copyRows(job, source, &writer);
  if (status != kExitOk) return status;
  if (!out.keep()) return fail(job.out, JPG_E_WRITE_FAULT);
  const uint32_t damage = source->damage();
  tell(job, source->format(), damage);
  if (damage == JPG_OK) return kExitOk;
  fail(job.in, source->whyFailed(damage), damage);
  return kExitDamaged;
}

// Writes a picture after each scan, each with one scan more than the one before.
int writeEachScan(DecodeJob job, RowSource *source) {
  static constexpr const char *kExtensions[] = {"pgm", "pam", "ppm", "pam"};
  if (!makeFolder(job.eachScan)) {
    return fail(job.eachScan, "cannot make the folder: " + reasonOf(errno), JPG_E_OPEN_FAILED);
  }
  for (uint64_t n = 1; n <= source->scanCount(); n++) {
    char name[32];
    std::snprintf(name, sizeof(name), "/scan-%03u.%s", static_cast<unsigned>(n),
                  kExtensions[source->format().channels - 1]);
    job.out = job.eachScan + name;
    if (const int status = writePicture(job, source); status != kExitOk) return status;
    source->showNextScan();
  }
  return kExitOk;
}

int decode(const DecodeJob &job) {
  if (isSameFile(job.in, job.out)) {
    return fail(job.out, "is the input file", JPG_E_INVALID_PARAMETER);
  }
  Input input;
  std::string why;
  uint32_t r = input.open(job.in, &why);
  if (r != JPG_OK) return fail(job.in, why, r);
  if (job.bits != 0) return decodeBitmap(input, job.out, job.bits, job.settings);
  RowSource source;
  r = source.open(input, job.settings, &why);
  if (r != JPG_OK) return why.empty() ? fail(job.in, r) : fail(job.in, why, r);
  return job.eachScan.empty() ? writePicture(job, &source) : writeEachScan(job, &source);
}

}  // namespace

int runDecode(const Words &words) {
  DecodePlan plan;
  std::string why;
  if (!parseDecode(words, &plan, &why)) return failUsage(why);
  if (plan.batch.empty()) return decode(plan.job);
  return runBatch("decoding", plan.folder, plan.batch, plan.jobs, [&plan](const BatchItem &item) {
    DecodeJob job = plan.job;
    job.in = item.in;
    job.out = item.out;
    return decode(job);
  });
}

}  // namespace jpgtool
