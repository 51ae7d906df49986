// SPDX-License-Identifier: MIT
// The pictures for the workloads, made from photographs of a folder, or computed without one.
#ifndef JPG_BENCH_MATERIAL_H
#define JPG_BENCH_MATERIAL_H

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "picture.h"

namespace jpgbench {

enum class Content { kPhoto, kGray, kWords, kNoise, kScreen, kThumbnail };

using Pictures = std::shared_ptr<const std::vector<Picture>>;

// The sheets of photographs: so many tiles of 256 x 256 beside and below each other. There are
// several small ones, so that branch predictors can't learn a picture.
struct SheetSize {
  const char *label;
  uint32_t across, down, sheets;
};
constexpr SheetSize kSheetSizes[] = {
    {"0.4 MP", 3, 2, 3}, {"3.5 MP", 9, 6, 2}, {"12.3 MP", 17, 11, 1}};
constexpr SheetSize kLargestSheet = {"100 MP", 39, 39, 1};

class Material {
 public:
  // `corpus` has the photographs; `kept` is a folder that caches the finished pictures between
  // runs, empty for none.
  Material(std::string corpus, std::string kept)
      : corpus_(std::move(corpus)), kept_(std::move(kept)) {}

  // Photographs, grey or words of a sheet's size.
  Pictures sheets(Content content, const SheetSize &size);
  // Sixteen crops of a photograph.
  Pictures cuts(uint32_t side);
  // Whole photographs, 160 x 120.
  Pictures thumbnails();
  // Noise or a screen, 1280 x 800.
  Pictures made(Content content);
  // Camera files with a thumbnail of up to 160 x 120; none without the folder.
  std::vector<Bytes> exifFiles() const;

 private:
  const std::vector<Picture> &photographs();
  template <typename Make>
  Pictures once(const std::string &name, Make make);

  std::string corpus_, kept_;
  std::vector<Picture> photographs_;
  std::map<std::string, std::weak_ptr<const std::vector<Picture>>> made_;
};

}  // namespace jpgbench

#endif
