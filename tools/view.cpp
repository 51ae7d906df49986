// jpgtool view
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "commands.h"
#include "options.h"
#include "pictureRows.h"
#include "report.h"

namespace jpgtool {

const char kViewHelp[] =
    "Usage: jpgtool view FILE [OPTION...]\n"
    "\n"
    "Shows a .jpg, .bmp, .ppm or .pgm file as a small picture in the terminal, in half\n"
    "blocks and 24-bit colours: a character is two pixels, one above the other. Large\n"
    "sequential JPEG files are decoded at 1/2, 1/4 or 1/8 of the size. Missing rows of a\n"
    "damaged file are grey, and the status is 2.\n"
    "\n"
    "  --width N       columns, 1 to 1000 (as many as fit the terminal, or 80 without one);\n"
    "                  never more than the picture has\n"
    "  --no-eoi        also opens files without an end marker\n"
    "  --max-pixels N, --max-memory N\n"
    "                  limits on the size of JPEG files, as for decode\n";

namespace {

constexpr uint8_t kGrey = 128;

struct Size {
  uint32_t width = 0, height = 0;
};

// Columns and lines of the terminal; lines 0: no limit.
Size terminalSize() {
  constexpr uint32_t kUsualColumns = 80;
  struct winsize window = {};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0;
  return known ? Size{window.ws_col, window.ws_row} : Size{kUsualColumns, 0};
}

uint32_t scaledHeight(const PixelFormat &format, uint32_t width) {
  const uint64_t rounded = (uint64_t{format.height} * width + format.width / 2) / format.width;
  return static_cast<uint32_t>(std::clamp<uint64_t>(rounded, 1, std::max(1U, format.height)));
}

// Size of the small picture in pixels: `width` columns, or as many as fit the terminal for 0.
Size smallSize(const PixelFormat &format, uint32_t width) {
  const Size terminal = terminalSize();
  Size size;
  size.width = std::min(width != 0 ? width : terminal.width, format.width);
  size.height = scaledHeight(format, size.width);
  const uint32_t most = terminal.height > 1 ? 2 * (terminal.height - 1) : 0;
  if (width == 0 && most != 0 && size.height > most) {
    const uint64_t fitting = (uint64_t{format.width} * most + format.height / 2) / format.height;
    size.width = static_cast<uint32_t>(std::clamp<uint64_t>(fitting, 1, size.width));
    size.height = std::min(most, scaledHeight(format, size.width));
  }
  return size;
}

// The smallest scale at which the picture has at least as many columns.
int32_t scaleFor(const PixelFormat &format, const Size &size) {
  for (int32_t scale = JPG_SCALE_EIGHTH; scale < JPG_SCALE_FULL; scale++) {
    const uint32_t divisor = 8U >> scale;
    if (format.width / divisor >= size.width && format.height / divisor >= size.height) {
      return scale;
    }
  }
  return JPG_SCALE_FULL;
}

// The small picture: each pixel is the mean of the pixels that fall on it (a box filter).
class SmallPicture {
 public:
  SmallPicture(const PixelFormat &from, const Size &size)
      : from_(from),
        size_(size),
        pixels_(size_t{3} * size.width * size.height, kGrey),
        sums_(size_t{3} * size.width),
        counts_(size.width) {}

  // Rows in order, from the top.
  void takeRow(uint32_t y, const uint8_t *row) {
    for (uint32_t x = 0; x < from_.width; x++) {
      const auto column = static_cast<size_t>(uint64_t{x} * size_.width / from_.width);
      for (size_t k = 0; k < 3; k++) {
        const size_t channel = from_.channels >= 3 ? k : 0;
        sums_[3 * column + k] += sampleAt(from_, row, size_t{x} * from_.channels + channel);
      }
      counts_[column]++;
    }
    const uint32_t out = targetRow(y);
    if (y + 1 == from_.height || targetRow(y + 1) != out) finishRow(out);
  }

  void print() const {
    std::string text;
    for (uint32_t y = 0; y < size_.height; y += 2) {
      for (uint32_t x = 0; x < size_.width; x++) {
        text += colorCode("38", x, y);
        if (y + 1 < size_.height) text += colorCode("48", x, y + 1);
        text += "\xE2\x96\x80";  // U+2580, upper half block
      }
      text += "\033[0m\n";
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
  }

 private:
  uint32_t targetRow(uint32_t y) const {
    return static_cast<uint32_t>(uint64_t{y} * size_.height / from_.height);
  }

  void finishRow(uint32_t out) {
    for (size_t i = 0; i < sums_.size(); i++) {
      const uint64_t whole = uint64_t{counts_[i / 3]} * from_.maxValue;
      pixels_[sums_.size() * out + i] =
          static_cast<uint8_t>((sums_[i] * 255 + whole / 2) / std::max<uint64_t>(whole, 1));
      sums_[i] = 0;
    }
    std::fill(counts_.begin(), counts_.end(), 0);
  }

  std::string colorCode(const char *ground, uint32_t x, uint32_t y) const {
    const uint8_t *p = pixels_.data() + size_t{3} * (size_t{y} * size_.width + x);
    char code[32];
    std::snprintf(code, sizeof(code), "\033[%s;2;%u;%u;%um", ground, unsigned{p[0]}, unsigned{p[1]},
                  unsigned{p[2]});
    return code;
  }

  PixelFormat from_;
  Size size_;
  std::vector<uint8_t> pixels_;  // red, green, blue
  std::vector<uint64_t> sums_;   // of the row of boxes being taken
  std::vector<uint32_t> counts_;
};

bool isScalable(const std::string &file, const ReadSettings &settings) {
  Reader reader;
  Frame frame;
  std::string why;
  return reader.open(file, settings.openFlags, settings.limits, &why) == JPG_OK &&
         readFrame(reader.handle(), &frame) == JPG_OK && frame.height != 0 &&
         (frame.process == JPG_PROCESS_BASELINE || frame.process == JPG_PROCESS_EXTENDED);
}

int show(const std::string &file, PictureRows *picture, const Size &size) {
  SmallPicture small(picture->format(), size);
  uint32_t r = JPG_OK;
  for (uint32_t y = 0; r == JPG_OK && y < picture->format().height; y++) {
    const uint8_t *row = nullptr;
    r = picture->next(&row);
    if (r == JPG_OK) small.takeRow(y, row);
  }
  small.print();
  if (r == JPG_OK) return kExitOk;
  fail(file, picture->whyFailed(r), r);
  return kExitDamaged;
}

int view(const std::string &file, ReadSettings settings, uint32_t width) {
  PictureRows full;
  std::string why;
  uint32_t r = full.open(file, settings, &why);
  if (r != JPG_OK) return why.empty() ? fail(file, r) : fail(file, why, r);
  if (full.format().width == 0 || full.format().height == 0) return kExitOk;
  const Size size = smallSize(full.format(), width);
  settings.scale = scaleFor(full.format(), size);
  if (settings.scale == JPG_SCALE_FULL || !isScalable(file, settings)) {
    return show(file, &full, size);
  }
  PictureRows scaled;
  r = scaled.open(file, settings, &why);
  if (r != JPG_OK) return why.empty() ? fail(file, r) : fail(file, why, r);
  return show(file, &scaled, size);
}

}  // namespace

int runView(const Words &words) {
  Options options;
  std::string why;
  const std::vector<OptionRule> rules = {
      {"--width", true}, {"--no-eoi", false}, {"--max-pixels", true}, {"--max-memory", true}};
  if (!parseOptions(words, rules, &options, &why)) return failUsage(why);
  if (options.files.size() != 1) return failUsage("view takes one file");
  long width = 0;
  if (options.has("--width") && !parseNumber(options.get("--width"), 1, 1000, &width)) {
    return failUsage("--width takes a number from 1 to 1000");
  }
  ReadSettings settings;
  if (!parseLimits(options, &settings.limits, &why)) return failUsage(why);
  settings.openFlags = options.has("--no-eoi") ? JPG_READ_COMPLETE : 0;
  return view(options.files[0], settings, static_cast<uint32_t>(width));
}

}  // namespace jpgtool
