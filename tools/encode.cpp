// jpgtool encode
#include <algorithm>
#include <cstring>

#include "batch.h"
#include "commands.h"
#include "limits.h"
#include "options.h"
#include "pictureReader.h"
#include "report.h"

namespace jpgtool {

const char kEncodeHelp[] =
    "Usage: jpgtool encode IN -o OUT.jpg [OPTION...]\n"
    "       jpgtool encode IN... -o DIR/ [OPTION...]\n"
    "\n"
    "Encodes a .bmp, .ppm or .pgm file (- for PPM or PGM on standard input), band by band\n"
    "in constant memory. Many files go into the folder DIR as .jpg, under their own names,\n"
    "several at a time; errors are shown at the end, and the exit status is that of the worst\n"
    "file.\n"
    "\n"
    "  -j N                   processes at a time, 1 to 256 (one for each processor)\n"
    "  --quality N            1 to 100 (90)\n"
    "  --sampling S           444, 422, 440 or 420 (420)\n"
    "  --restart N            restart interval of N MCUs; lossless: of N lines\n"
    "  --no-color-conversion  RGB components instead of YCbCr\n"
    "  --jfif DPI             writes a JFIF segment with this resolution\n"
    "  --comment TEXT         writes a comment\n"
    "  --lossless             lossless, 2 to 16 bits\n"
    "  --predictor N          predictor of lossless coding, 1 to 7 (1), or auto for the one\n"
    "                         that gives the smallest file\n"
    "  --max-pixels N         refuses files whose header gives more pixels, width times\n"
    "                         height (500M; K, M and G stand for thousands, millions ...)\n"
    "  --max-memory N         refuses run-length coded bitmaps that need more bytes of memory:\n"
    "                         they are encoded as a whole (2G; K, M and G stand for KiB, MiB\n"
    "                         ...)\n";

namespace {

constexpr uint32_t kBandRows = 16;  // a multiple of every MCU's height

struct EncodeJob {
  std::string in, out, comment;
  long quality = 90, restart = 0, jfif = 0, predictor = 1;
  uint32_t sampling = 0x00221111;
  bool raw = false, lossless = false, anyPredictor = false, hasComment = false;
  Limits limits;
};

bool parseSampling(const std::string &text, uint32_t *packed) {
  struct Name {
    const char *name;
    uint32_t packed;
  };
  static constexpr Name kNames[] = {
      {"444", 0x00111111}, {"422", 0x00211111}, {"440", 0x00121111}, {"420", 0x00221111}};
  for (const Name &entry : kNames) {
    if (text == entry.name) {
      *packed = entry.packed;
      return true;
    }
  }
  return false;
}

void checkNumber(const Options &options, const char *name, long low, long high, long *number,
                 std::string *why) {
  if (!options.has(name) || parseNumber(options.get(name), low, high, number)) return;
  *why = std::string(name) + " takes a number from " + std::to_string(low) + " to " +
         std::to_string(high);
}

// The work of a command: a job, or a batch of files with the same settings.
struct EncodePlan {
  EncodeJob job;
  std::vector<BatchItem> batch;  // empty: the job alone
  std::string folder;            // of the batch
  long jobs = 1;                 // processes at a time
};

bool parsePlan(const Words &words, EncodePlan *plan, std::string *why) {
  EncodeJob *job = &plan->job;
  Options options;
  const std::vector<OptionRule> rules = {
      {"-o", true},          {"-j", true},           {"--quality", true},
      {"--sampling", true},  {"--restart", true},    {"--no-color-conversion", false},
      {"--jfif", true},      {"--comment", true},    {"--lossless", false},
      {"--predictor", true}, {"--max-pixels", true}, {"--max-memory", true}};
  if (!parseOptions(words, rules, &options, why)) return false;
  job->anyPredictor = options.get("--predictor") == "auto";
  checkNumber(options, "--quality", 1, 100, &job->quality, why);
  checkNumber(options, "--restart", 0, 65535, &job->restart, why);
  checkNumber(options, "--jfif", 1, 65535, &job->jfif, why);
  if (!job->anyPredictor) checkNumber(options, "--predictor", 1, 7, &job->predictor, why);
  if (!parseSampling(options.get("--sampling", "420"), &job->sampling)) {
    *why = "--sampling takes 444, 422, 440 or 420";
  }
  parseLimits(options, &job->limits, why);
  parseJobs(options, &plan->jobs, why);
  if (isBatch(options)) {
    plan->folder = options.get("-o");
    planBatch(options, "jpg", &plan->batch, why);
  }
  if (options.files.empty()) *why = "encode takes one file, or several";
  if (!options.has("-o")) *why = "encode needs -o OUT";
  if (!why->empty()) return false;
  job->in = options.files[0];
  job->out = options.get("-o");
  job->raw = options.has("--no-color-conversion");
  job->lossless = options.has("--lossless");
  job->hasComment = options.has("--comment");
  job->comment = options.get("--comment");
  return true;
}

// Owner of a write handle; unless it is finished, the destructor closes it.
class Writer {
 public:
  Writer() = default;
  ~Writer() {
    if (handle_ != nullptr) jpgWriteEpilogToFile(handle_);
  }
  Writer(const Writer &) = delete;
  Writer &operator=(const Writer &) = delete;
  uint32_t open(const std::string &file) {
    return jpgWritePrologToFile(toUtf16(file).c_str(), 0, &handle_);
  }
  uint32_t finish() {
    JPGHANDLE handle = handle_;
    handle_ = nullptr;
    return jpgWriteEpilogToFile(handle);
  }
  JPGHANDLE handle() const { return handle_; }

 private:
  JPGHANDLE handle_ = nullptr;
};

uint32_t writeJfif(JPGHANDLE h, long dpi) {
  const auto high = static_cast<uint8_t>(dpi >> 8);
  const auto low = static_cast<uint8_t>(dpi);
  const uint8_t data[] = {'J', 'F', 'I', 'F', 0, 1, 1, 1, high, low, high, low, 0, 0};
  return jpgWriteWriteMarkerSegment(h, 0xFFE0, data, sizeof(data));
}

// Settings and segments before the first rows.
uint32_t setUp(const EncodeJob &job, JPGHANDLE h, uint32_t width) {
  const long interval = job.lossless ? job.restart * static_cast<long>(width) : job.restart;
  uint32_t r = jpgWriteSetQuantizationFactor(h, static_cast<int32_t>(job.quality));
  if (r == JPG_OK) r = jpgWriteSetSubsamplingFactor(h, job.sampling);
  if (r == JPG_OK) r = jpgWriteSetSpatialPredictor(h, static_cast<int32_t>(job.predictor));
  if (r == JPG_OK && interval > 65535) r = JPG_E_INVALID_PARAMETER;
  if (r == JPG_OK) r = jpgWriteSetRestartInterval(h, static_cast<int32_t>(interval));
  if (r == JPG_OK && job.raw) r = jpgWriteSetNoColorConversion(h);
  if (r == JPG_OK && job.jfif != 0) r = writeJfif(h, job.jfif);
  if (r == JPG_OK && job.hasComment) {
    r = jpgWriteWriteMarkerSegment(h, 0xFFFE, job.comment.c_str(),
                                   static_cast<uint32_t>(job.comment.size()));
  }
  return r;
}

// A failure of the library while reading `in` and writing `out`.
int failEncode(const EncodeJob &job, uint32_t code) { return fail(job.out, code); }

int failEarlyEnd(const EncodeJob &job) { return fail(job.in, "the file ends early", JPG_NO_DATA); }

// Describes a band of samples to the library.
JpgRect sampleRect(const PixelFormat &format, uint32_t bits, uint8_t *band) {
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(format.width);
  rect.height = static_cast<int32_t>(format.height);
  rect.channels = static_cast<int32_t>(format.channels);
  rect.bitsPerSample = static_cast<int32_t>(bits);
  rect.stride = static_cast<int32_t>(rowBytes(format));
  rect.bits = band;
  return rect;
}

int encodePnm(const EncodeJob &job, std::FILE *file, Writer *writer) {
  // Lossless components keep their order, red first.
  PnmReader reader(file, job.lossless);
  std::string why;
  if (!reader.begin(&why)) return fail(job.in, why, JPG_E_UNSUPPORTED);
  const PixelFormat &format = reader.format();
  if (const uint32_t code = checkPixels(job.limits, format.width, format.height, &why); code != 0) {
    return fail(job.in, why, code);
  }
  if (!job.lossless && format.maxValue != 255) {
    return fail(job.in, "samples other than 8 bits need --lossless", JPG_E_UNSUPPORTED);
  }
  uint32_t r = setUp(job, writer->handle(), format.width);
  std::vector<uint8_t> band(rowBytes(format) * kBandRows);
  const JpgRect rect = sampleRect(format, reader.bits(), band.data());
  Progress progress("encoding " + job.in);
  for (uint32_t y = 0; r == JPG_OK && y < format.height; y += kBandRows) {
    const uint32_t rows = std::min(kBandRows, format.height - y);
    if (!reader.read(band.data(), rows)) return failEarlyEnd(job);
    r = job.lossless ? jpgWriteSpatialFromRect(writer->handle(), &rect, rows)
                     : jpgWriteFromRect(writer->handle(), &rect, rows);
    progress.update(y, format.height);
  }
  return r == JPG_OK ? kExitOk : failEncode(job, r);
}

// Encodes the file's colours as components, red first; a grey palette gives one component.
int encodeBmpLosslessly(const EncodeJob &job, BmpReader *reader, Writer *writer) {
  if (!reader->hasByteSamples()) {
    return fail(job.in, "--lossless takes plain bitmaps of 8, 24 or 32 bits", JPG_E_UNSUPPORTED);
  }
  PixelFormat format;
  format.width = reader->width();
  format.height = reader->height();
  format.channels = reader->isGray() ? 1 : 3;
  std::vector<uint8_t> rows(reader->rowBytes() * kBandRows), band(rowBytes(format) * kBandRows);
  const JpgRect rect = sampleRect(format, 8, band.data());
  uint32_t r = setUp(job, writer->handle(), format.width);
  Progress progress("encoding " + job.in);
  for (uint32_t y = 0; r == JPG_OK && y < format.height; y += kBandRows) {
    const uint32_t count = std::min(kBandRows, format.height - y);
    if (!reader->read(rows.data(), y, count)) return failEarlyEnd(job);
    for (uint32_t i = 0; i < count; i++) {  // the band's lowest row comes first
      reader->samplesOf(rows.data() + reader->rowBytes() * (count - 1 - i),
                        band.data() + rowBytes(format) * i);
    }
    r = jpgWriteSpatialFromRect(writer->handle(), &rect, count);
    progress.update(y, format.height);
  }
  return r == JPG_OK ? kExitOk : failEncode(job, r);
}

// The library takes a run-length coded bitmap in one call and expands it to 24 bits a pixel.
uint32_t checkBmp(const EncodeJob &job, const BmpReader &reader, std::string *why) {
  const uint64_t width = reader.width(), height = reader.height();
  const uint32_t r = checkPixels(job.limits, width, height, why);
  if (r != JPG_OK || !reader.isCoded()) return r;
  return checkMemory(job.limits, 3 * width * height + sizeOfFile(job.in), why);
}

int encodeBmp(const EncodeJob &job, std::FILE *file, Writer *writer) {
  BmpReader reader(file);
  std::string why;
  if (!reader.begin(&why)) return fail(job.in, why, JPG_E_UNSUPPORTED);
  if (const uint32_t code = checkBmp(job, reader, &why); code != 0) return fail(job.in, why, code);
  if (job.lossless) return encodeBmpLosslessly(job, &reader, writer);
  JPGHANDLE h = writer->handle();
  uint32_t r = setUp(job, h, reader.width());
  if (r == JPG_OK) r = jpgWriteSetNumberOfComponents(h, reader.isGray() ? 1 : 3);
  std::vector<uint8_t> rows;
  if (reader.isCoded()) {
    if (!reader.readCoded(&rows)) return failEarlyEnd(job);
    if (r == JPG_OK) {
      r = jpgWriteFromWinDIBits(h, static_cast<int32_t>(reader.height()), rows.data(),
                                reader.bmi());
    }
    return r == JPG_OK ? kExitOk : failEncode(job, r);
  }
  rows.resize(reader.rowBytes() * kBandRows);
  Progress progress("encoding " + job.in);
  for (uint32_t y = 0; r == JPG_OK && y < reader.height(); y += kBandRows) {
    const uint32_t count = std::min(kBandRows, reader.height() - y);
    if (!reader.read(rows.data(), y, count)) return failEarlyEnd(job);
    r = jpgWriteFromWinDIBits(h, static_cast<int32_t>(count), rows.data(), reader.bmi());
    progress.update(y, reader.height());
  }
  return r == JPG_OK ? kExitOk : failEncode(job, r);
}

int encodeOpen(const EncodeJob &job, std::FILE *file, uint64_t *size) {
  OutputFile out;  // removes the file after a failure
  Writer writer;
  if (const uint32_t r = writer.open(job.out); r != JPG_OK) return fail(job.out, r);
  out.adopt(job.out);
  const int first = std::getc(file);
  std::ungetc(first, file);
  const int status = first == 'B' ? encodeBmp(job, file, &writer) : encodePnm(job, file, &writer);
  if (status != kExitOk) return status;
  if (const uint32_t r = writer.finish(); r != JPG_OK) return fail(job.out, r);
  *size = sizeOfFile(job.out);
  out.keep();
  return kExitOk;
}

int encodeOnce(const EncodeJob &job, uint64_t *size) {
  std::FILE *file = openInput(job.in);
  if (file == nullptr) return fail(job.in, JPG_E_OPEN_FAILED);
  const int status = encodeOpen(job, file, size);
  if (file != stdin) std::fclose(file);
  return status;
}

// Tries every predictor and keeps the smallest file.
int encodeSmallest(EncodeJob job) {
  if (job.in == "-")
    return failUsage("--predictor auto needs a file: it reads the input several times");
  uint64_t smallest = 0;
  long best = 0;
  for (job.predictor = 1; job.predictor <= 7; job.predictor++) {
    uint64_t size = 0;
    if (const int status = encodeOnce(job, &size); status != kExitOk) return status;
    if (best == 0 || size < smallest) {
      smallest = size;
      best = job.predictor;
    }
  }
  job.predictor = best;
  return encodeOnce(job, &smallest);
}

int encode(const EncodeJob &job) {
  if (job.in != "-" && isSameFile(job.in, job.out)) {
    return fail(job.out, "is the input file", JPG_E_INVALID_PARAMETER);
  }
  if (job.lossless && job.anyPredictor) return encodeSmallest(job);
  uint64_t size = 0;
  return encodeOnce(job, &size);
}

}  // namespace

int runEncode(const Words &words) {
  EncodePlan plan;
  std::string why;
  if (!parsePlan(words, &plan, &why)) return failUsage(why);
  if (plan.batch.empty()) return encode(plan.job);
  return runBatch("encoding", plan.folder, plan.batch, plan.jobs, [&plan](const BatchItem &item) {
    EncodeJob job = plan.job;
    job.in = item.in;
    job.out = item.out;
    return encode(job);
  });
}

}  // namespace jpgtool
