// SPDX-License-Identifier: MIT
// jpgtool view
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "commands.h"
#include "options.h"
#include "pictureRows.h"
#include "report.h"

namespace jpgtool {

const char kViewHelp[] =
    "Usage: jpgtool view FILE [OPTION...]\n"
    "\n"
    "Shows a .jpg, .png, .bmp, .ppm, .pgm or .pam file (- is standard input) as a small picture\n"
    "in the terminal, turned as Exif says, in half blocks and 24-bit colours: a character is two\n"
    "pixels, one above the other. With NO_COLOR or TERM=dumb in the environment it is made of\n"
    "plain characters. Large JPEG files are decoded at 1/2, 1/4 or 1/8 of the size. Missing rows\n"
    "of a damaged file are grey, and the status is 2.\n"
    "\n"
    "  --width N       columns, 1 to 1000 (as many as fit the terminal; without one as COLUMNS\n"
    "                  says, or 80); never more than the picture has\n"
    "  --strict, --no-eoi, --no-orient\n"
    "                  as for decode\n"
    "  --json          errors as JSON\n"
    "  --max-pixels N, --max-memory N\n"
    "                  limits on the size of JPEG files, as for decode\n";

namespace {

constexpr uint8_t kGrey = 128;

// True if the terminal shows colours, or nobody says otherwise (no-color.org).
bool hasColors() {
  const char *none = std::getenv("NO_COLOR"), *terminal = std::getenv("TERM");
  const bool dumb = terminal != nullptr && std::strcmp(terminal, "dumb") == 0;
  return !dumb && (none == nullptr || none[0] == '\0');
}

struct Size {
  uint32_t width = 0, height = 0;
};

// Columns and lines of the terminal; lines 0: no limit.
Size shownSize() {
  constexpr uint32_t kUsualColumns = 80;
  Size size;
  if (terminalSize(&size.width, &size.height)) return size;
  // As in a shell that tells its programs, else the usual width.
  const char *told = std::getenv("COLUMNS");
  const long columns = told != nullptr ? std::strtol(told, nullptr, 10) : 0;
  const bool known = columns >= 1 && columns <= 1000;
  return {known ? static_cast<uint32_t>(columns) : kUsualColumns, 0};
}

uint32_t scaledHeight(const PixelFormat &format, uint32_t width) {
  const uint64_t rounded = (uint64_t{format.height} * width + format.width / 2) / format.width;
  return static_cast<uint32_t>(std::clamp<uint64_t>(rounded, 1, std::max(1U, format.height)));
}

// Size of the small picture in pixels: `width` columns, or as many as fit the terminal for 0.
Size smallSize(const PixelFormat &format, uint32_t width) {
  const Size terminal = shownSize();
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

  void print() const { hasColors() ? printColors() : printCharacters(); }

 private:
  // A character for each cell of two pixels, the darker the denser.
  void printCharacters() const {
    static constexpr char kRamp[] = " .:-=+*#%@";
    constexpr uint32_t kSteps = sizeof(kRamp) - 1;
    std::string text;
    for (uint32_t y = 0; y < size_.height; y += 2) {
      for (uint32_t x = 0; x < size_.width; x++) {
        const uint32_t below = y + 1 < size_.height ? y + 1 : y;
        text += kRamp[(lightOf(x, y) + lightOf(x, below)) * kSteps / (2 * 256)];
      }
      text += "\n";
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
  }
  uint32_t lightOf(uint32_t x, uint32_t y) const {
    const uint8_t *p = pixels_.data() + size_t{3} * (size_t{y} * size_.width + x);
    return (299U * p[0] + 587U * p[1] + 114U * p[2]) / 1000;
  }

  void printColors() const {
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

int show(const std::string &file, PictureRows *picture, const Size &size) {
  SmallPicture small(picture->format(), size);
  uint32_t r = JPG_OK;
  for (uint32_t y = 0; r == JPG_OK && y < picture->format().height; y++) {
    const uint8_t *row = nullptr;
    r = picture->next(&row);
    if (r == JPG_OK) small.takeRow(y, row);
  }
  small.print();
  if (r == JPG_OK) r = picture->damage();
  if (r == JPG_OK) return kExitOk;
  fail(file, picture->whyFailed(r), r);
  return kExitDamaged;
}

int view(const std::string &file, ReadSettings settings, uint32_t width) {
  PictureRows picture;
  std::string why;
  uint32_t r = picture.open(file, settings, &why);
  if (r != JPG_OK) return why.empty() ? fail(file, r) : fail(file, why, r);
  if (picture.format().width == 0 || picture.format().height == 0) return kExitOk;
  const Size size = smallSize(picture.format(), width);
  settings.scale = scaleFor(picture.format(), size);
  if (settings.scale != JPG_SCALE_FULL && picture.isJpeg()) {
    r = picture.reopen(settings, &why);
    if (r != JPG_OK) return why.empty() ? fail(file, r) : fail(file, why, r);
  }
  return show(file, &picture, size);
}

}  // namespace

int runView(const Words &words) {
  Options options;
  std::string why;
  const std::vector<OptionRule> rules = {
      {"--width", true},      {"--no-eoi", false},    {"--strict", false}, {"--no-orient", false},
      {"--max-pixels", true}, {"--max-memory", true}, {"--json", false}};
  if (!parseOptions(words, rules, &options, &why)) return failUsage(why);
  if (options.files.size() != 1) return failUsage("view takes one file");
  long width = 0;
  if (options.has("--width") && !parseNumber(options.get("--width"), 1, 1000, &width)) {
    return failUsage("--width takes a number from 1 to 1000");
  }
  ReadSettings settings;
  if (!parseLimits(options, &settings.limits, &why)) return failUsage(why);
  takeReadOptions(options, &settings);
  settings.keepGoing = settings.keepNothing = true;
  settings.orient = !options.has("--no-orient");
  return view(options.files[0], settings, static_cast<uint32_t>(width));
}

}  // namespace jpgtool
