// SPDX-License-Identifier: MIT
// Colour profiles (ISO 15076-1): what their headers say.
#ifndef JPGTOOL_ICC_H
#define JPGTOOL_ICC_H

#include <string>

#include "json.h"
#include "metadata.h"

namespace jpgtool {

struct IccSummary {
  std::string version, kind, space, description;
};

// False for what is no profile.
bool summarise(const Bytes &profile, IccSummary *summary);

}  // namespace jpgtool

#endif
