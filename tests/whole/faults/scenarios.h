// SPDX-License-Identifier: MIT
// What is swept: small pieces of work that a caller might do, each with a handle or two of
// its own, closed whatever happens. Between them they call every exported function.
#ifndef JPG_TESTS_WHOLE_FAULTS_SCENARIOS_H
#define JPG_TESTS_WHOLE_FAULTS_SCENARIOS_H

#include <vector>

#include "work.h"

namespace faults {

struct Scenario {
  const char *name;
  void (*run)(Work &work);
};

void addReaders(std::vector<Scenario> &all);
void addBitmaps(std::vector<Scenario> &all);
void addWriters(std::vector<Scenario> &all);

}  // namespace faults

#endif
