// jpgtool decode
#include <cstdio>

#include "commands.h"
#include "decodeBitmap.h"
#include "decodeOptions.h"
#include "picture.h"
#include "report.h"

namespace jpgtool {

const char kDecodeHelp[] =
    "Usage: jpgtool decode FILE -o OUT [OPTION...]\n"
    "       jpgtool decode FILE... -o DIR/ [OPTION...]\n"
    "\n"
    "Decodes FILE into the picture file OUT, band by band in constant memory. OUT ends\n"
    "in .bmp, .ppm, .pgm or .pam, or is - for standard output (PGM, PPM or PAM). Many files\n"
    "go into the folder DIR under their own names, several at a time; errors are shown at the\n"
    "end, and the exit status is that of the worst file.\n"
    "\n"
    "  --to KIND        kind of the files in DIR: bmp, ppm, pgm or pam (ppm)\n"
    "  -j N             processes at a time, 1 to 256 (one for each processor)\n"
    "  --bits N         writes a .bmp file of 8 bits a pixel (grey, or reduced to a palette of\n"
    "                   216 colours), 16 (reduced) or 24; keeps the whole picture in memory\n"
    "  --raw            components as coded, without colour conversion; two and four\n"
    "                   components need .pam\n"
    "  --scale 1/N      at 1/2, 1/4 or 1/8 of the size (sequential files; not with --raw)\n"
    "  --scans N        the picture after the first N scans of a progressive file\n"
    "  --each-scan DIR  instead of OUT: a picture DIR/scan-NNN.ppm (.pgm, .pam) after each\n"
    "                   scan of a progressive file\n"
    "  --rows A:B       only rows A to B - 1 of the output, counted from 0; without A from the\n"
    "                   top, without B to the bottom. If the file has all its restart markers,\n"
    "                   at ends of MCU rows, intervals above A are skipped without decoding\n"
    "  --max-scans N    refuses progressive files of more than N scans (1000)\n"
    "  --max-pixels N   refuses files whose header gives more pixels, width times height,\n"
    "                   before decoding (500M; K, M and G stand for thousands, millions ...)\n"
    "  --max-memory N   refuses files that need more bytes of memory by their header: the\n"
    "                   coefficients of a progressive file, the picture with --bits (2G; K, M\n"
    "                   and G stand for KiB, MiB ...)\n"
    "  --no-eoi         also opens files without an end marker\n"
    "  --keep-going     keeps what was decoded of a damaged file and fills the rest with grey;\n"
    "                   the exit status is then 2\n";

namespace {

constexpr uint8_t kGrey = 128;

// Fills the rows that are missing from a damaged file with grey.
bool fillRest(PictureWriter *writer, const PixelFormat &format, uint32_t from) {
  const std::vector<uint8_t> row(rowBytes(format), kGrey);
  for (uint32_t y = from; y < format.height; y++) {
    if (!writer->putRows(row.data(), row.size(), 1)) return false;
  }
  return true;
}

// Copies all rows. The result is the exit status; `complete` tells whether to keep the output
// file.
int copyRows(const DecodeJob &job, RowSource *source, PictureWriter *writer, bool *complete) {
  const PixelFormat &format = source->format();
  Progress progress("decoding " + job.in);
  for (uint32_t y = 0; y < format.height;) {
    uint32_t rows = 0;
    const uint32_t r = source->next(&rows);
    if (r != JPG_OK) {
      *complete = job.keepGoing && fillRest(writer, format, y);
      fail(job.in, source->whyFailed(r), r);
      return *complete ? kExitDamaged : kExitFailed;
    }
    if (!writer->putRows(source->band(), rowBytes(format), rows)) {
      return fail(job.out, JPG_E_WRITE_FAULT);
    }
    y += rows;
    progress.update(y, format.height);
  }
  *complete = true;
  return kExitOk;
}

// Writes one picture from an open source.
int writePicture(const DecodeJob &job, RowSource *source) {
  FileKind kind = FileKind::kPpm;
  std::string why;
  if (!chooseKind(job.out, source->format(), &kind, &why)) {
    return fail(job.out, why, JPG_E_UNSUPPORTED);
  }
  if (isSameFile(job.in, job.out)) {
    return fail(job.out, "is the input file", JPG_E_INVALID_PARAMETER);
  }
  OutputFile out;
  if (!out.open(job.out)) return fail(job.out, "cannot create the file", JPG_E_OPEN_FAILED);
  PictureWriter writer(&out, kind, source->format());
  if (!writer.begin()) return fail(job.out, JPG_E_WRITE_FAULT);
  bool complete = false;
  const int status = copyRows(job, source, &writer, &complete);
  if (complete && !out.keep()) return fail(job.out, JPG_E_WRITE_FAULT);
  return status;
}

// Writes a picture after each scan, each with one scan more than the one before.
int writeEachScan(DecodeJob job, RowSource *source) {
  static constexpr const char *kExtensions[] = {"pgm", "pam", "ppm", "pam"};
  makeFolder(job.eachScan);
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
  if (job.bits != 0) return decodeBitmap(job.in, job.out, job.bits, job.settings);
  RowSource source;
  std::string why;
  const uint32_t r = source.open(job.in, job.settings, &why);
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
