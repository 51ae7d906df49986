// SPDX-License-Identifier: MIT
// The record of a read handle as its words.
#include "whole/state/readerState.h"

namespace jpgtest {

std::vector<Word> ReaderState::words() const {
  uint32_t flags = 0x10000000U | prologFlags_;
  if (noColorConversion_) flags |= 0x80000000U;
  if (markerAccessUsed_) flags |= 0x40000000U;
  if (positioned_) flags |= 0x04000000U;
  if (incrementalActive_) flags |= 0x01000000U;
  if (jfif_) flags |= 0x00800000U;
  if (adobe_) flags |= 0x00400000U;
  if (ycc_) flags |= 0x00200000U;
  uint32_t sampling = 0;
  for (const Component &c : components_) {
    sampling = sampling << 8 | static_cast<uint32_t>(c.h << 4 | c.v);
  }
  std::vector<Word> all = {{"lastMarker", lastMarker_},
                           {"sofMarker", sof_},
                           {"restartInterval", restartInterval_},
                           {"samplingPacked", sampling},
                           {"flags", flags},
                           {"rowPosition", rowPosition_},
                           {"segLength", segLength_},
                           {"segConsumed", segConsumed_},
                           {"height", height_},
                           {"width", width_},
                           {"precision", precision_},
                           {"numComponents", components()},
                           {"scanDataOffset", static_cast<uint32_t>(scanOffset_)},
                           {"mcuCount", mcuCount_},
                           {"mcusPerRow", mcusPerRow_},
                           {"mcusSinceRestart", mcusSinceRestart_},
                           {"eobRun", eobRun_},
                           {"scanNs", static_cast<uint32_t>(selected_.size())},
                           {"Ss", ss_},
                           {"Se", se_},
                           {"Ah", ah_},
                           {"Al", al_}};
  if (sof_ < 0xFFC2) all.push_back({"scanState", scanState_});
  static const char *const kPredictors[] = {"dcPredictor 0", "dcPredictor 1", "dcPredictor 2",
                                            "dcPredictor 3"};
  for (size_t i = 0; i < scan_.size() && sof_ != 0xFFC3; i++) {
    all.push_back({kPredictors[i], scan_[i].prediction});
  }
  return all;
}

}  // namespace jpgtest
