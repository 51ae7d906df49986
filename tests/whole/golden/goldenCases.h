// SPDX-License-Identifier: MIT
// The golden cases: one table of digests that every target must print alike.
//
// Synthetic pictures made by integer rules go through every exported function of the
// library; each case gives a line of a name and a digest of all that it returned and stored.
// The codec is integer arithmetic, so targets that print different digests differ in behaviour.
//
// The sources in this folder but goldenMain.cpp, with jpg_test_streams of tests/support, make the
// cases. They need a C++ library and nothing of a system, and reach the library by its exports
// alone.
#ifndef JPG_TESTS_WHOLE_GOLDEN_GOLDENCASES_H
#define JPG_TESTS_WHOLE_GOLDEN_GOLDENCASES_H

#include <jpg.h>

#include <cstdint>

// Takes a case's name, which lives as long as the call, and its digest.
using GoldenLine = void (*)(void *user, const char *name, uint64_t digest);

// Runs all cases that need no files. Returns how many calls failed that can't fail on a healthy
// target: 0.
int runGolden(GoldenLine line, void *user);

// Runs the cases with files, which it writes and reads. `prefix` stands in front of their names,
// a folder with its separator at the end; at most 200 units. The files stay there.
int runGoldenFiles(const JpgWChar *prefix, GoldenLine line, void *user);

#endif  // JPG_TESTS_WHOLE_GOLDEN_GOLDENCASES_H
