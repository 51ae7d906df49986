// SPDX-License-Identifier: MIT
// Sequences of any calls, in any order and with any arguments, do what the model says.
//
// JPG_STATE_CALLS sets how many calls are made, JPG_STATE_SEED the first seed.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <set>

#include "whole/state/generator.h"
#include "whole/state/machine.h"
#include "whole/state/material.h"

namespace jpgtest {
namespace {

struct Verdict {
  std::string differences;
  size_t failedAt = 0;
  bool lost = false;
};

Verdict play(const Calls &calls, Tallies *tallies) {
  Verdict v;
  Machine machine(tallies);
  for (size_t i = 0; i < calls.size() && v.differences.empty() && !machine.lostItsWay(); i++) {
    v.failedAt = i;
    v.differences = machine.run(calls[i]);
  }
  v.lost = machine.lostItsWay();
  if (v.differences.empty() && !v.lost) {
    v.failedAt = calls.size();
    v.differences = machine.finish();
  }
  return v;
}

Verdict play(const Calls &calls) {
  Tallies tallies;
  return play(calls, &tallies);
}

// Drops calls as long as something still differs.
Calls shortened(Calls calls) {
  const size_t last = play(calls).failedAt;
  if (last + 1 < calls.size()) calls.resize(last + 1);
  for (bool shorter = true; shorter;) {
    shorter = false;
    for (size_t i = calls.size(); i-- > 0;) {
      Calls fewer = calls;
      fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
      if (play(fewer).differences.empty()) continue;
      calls = fewer;
      shorter = true;
    }
  }
  return calls;
}

std::string listed(const Calls &calls) {
  std::string text;
  std::set<int32_t> streams;
  for (const Call &call : calls) {
    text += "  " + describe(call) + "\n";
    if (call.op == Op::kReadPrologFromFile || call.op == Op::kReadPrologFromMemory) {
      streams.insert(call.a[1]);
    }
  }
  for (const int32_t n : streams) text += material(n).what + "\n";
  return text;
}

std::string report(uint32_t seed, const Calls &calls) {
  const Calls few = shortened(calls);
  return "seed " + std::to_string(seed) + ", all calls:\n" + listed(calls) +
         "the fewest calls that still differ:\n" + listed(few) + "what differs:\n" +
         play(few).differences;
}

uint32_t setting(const char *name, uint32_t otherwise) {
  const char *text = std::getenv(name);
  return text != nullptr ? static_cast<uint32_t>(std::strtoul(text, nullptr, 10)) : otherwise;
}

uint32_t sumOf(const Tallies &tallies) {
  uint32_t sum = 0;
  for (const Tally &t : tallies) sum += t.made;
  return sum;
}

// Every function was called often, and succeeded often where it can.
void expectSpread(const Tallies &tallies, uint32_t calls) {
  for (size_t i = 0; i < tallies.size(); i++) {
    const Op op = static_cast<Op>(i);
    const uint32_t least = op == Op::kReadSeekMarkerData ? 0 : calls / 1000;
    EXPECT_GE(tallies[i].made, calls / 1000) << nameOf(op);
    EXPECT_GE(tallies[i].succeeded, least) << nameOf(op);
  }
}

TEST(States, SequencesOfAnyCallsDoWhatTheModelSays) {
  const uint32_t wanted = setting("JPG_STATE_CALLS", 200000);
  const uint32_t most = setting("JPG_STATE_FAILURES", 1);
  const uint32_t first = setting("JPG_STATE_SEED", 0);
  uint32_t seed = first, lost = 0, failures = 0;
  Tallies tallies;
  for (; sumOf(tallies) < wanted && failures < most; seed++) {
    const Calls sequence = generate(seed);
    const Verdict v = play(sequence, &tallies);
    lost += v.lost ? 1 : 0;
    if (v.differences.empty()) continue;
    failures++;
    ADD_FAILURE() << report(seed, sequence);
  }
  std::cout << seed - first << " sequences, " << sumOf(tallies) << " calls, " << lost
            << " sequences ended early\n";
  EXPECT_LT(lost * 20, seed - first + 20);
  if (failures == 0 && wanted >= 100000) expectSpread(tallies, wanted);
}

}  // namespace
}  // namespace jpgtest
