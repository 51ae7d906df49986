// SPDX-License-Identifier: MIT
// The tool's commands. Each takes the arguments after its name and returns the exit status.
#ifndef JPGTOOL_COMMANDS_H
#define JPGTOOL_COMMANDS_H

#include <string>
#include <vector>

namespace jpgtool {

using Words = std::vector<std::string>;

int runInfo(const Words &words);
int runDecode(const Words &words);
int runEncode(const Words &words);
int runExif(const Words &words);
int runSegments(const Words &words);
int runIcc(const Words &words);
int runThumbnail(const Words &words);
int runCompare(const Words &words);
int runView(const Words &words);

extern const char kInfoHelp[];
extern const char kDecodeHelp[];
extern const char kEncodeHelp[];
extern const char kExifHelp[];
extern const char kSegmentsHelp[];
extern const char kIccHelp[];
extern const char kThumbnailHelp[];
extern const char kCompareHelp[];
extern const char kViewHelp[];

}  // namespace jpgtool

#endif
