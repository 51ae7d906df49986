// SPDX-License-Identifier: MIT
// jpgtool: shows the contents of JPEG files and converts them, through the library's public
// interface.
#include <cstdio>
#include <string>

#include "commands.h"
#include "completion.h"
#include "jpg.h"
#include "report.h"
#include "system.h"

namespace {

struct Command {
  const char *name;
  int (*run)(const jpgtool::Words &words);
  const char *help;
};

constexpr Command kCommands[] = {
    {"info", jpgtool::runInfo, jpgtool::kInfoHelp},
    {"decode", jpgtool::runDecode, jpgtool::kDecodeHelp},
    {"encode", jpgtool::runEncode, jpgtool::kEncodeHelp},
    {"exif", jpgtool::runExif, jpgtool::kExifHelp},
    {"segments", jpgtool::runSegments, jpgtool::kSegmentsHelp},
    {"icc", jpgtool::runIcc, jpgtool::kIccHelp},
    {"thumbnail", jpgtool::runThumbnail, jpgtool::kThumbnailHelp},
    {"compare", jpgtool::runCompare, jpgtool::kCompareHelp},
    {"view", jpgtool::runView, jpgtool::kViewHelp},
};

constexpr char kHelp[] =
    "Usage: jpgtool COMMAND [ARGUMENT...]\n"
    "\n"
    "Commands:\n"
    "  info        shows the headers of JPEG files\n"
    "  decode      decodes JPEG files into picture files\n"
    "  encode      encodes picture files into JPEG files\n"
    "  exif        lists the Exif attributes of JPEG files\n"
    "  segments    lists the marker segments of JPEG files\n"
    "  icc         shows or extracts the colour profile of JPEG files\n"
    "  thumbnail   decodes the Exif thumbnail of a JPEG file into a bitmap file\n"
    "  compare     compares two picture files, sample by sample\n"
    "  view        shows a picture file in the terminal\n"
    "\n"
    "  jpgtool help COMMAND     more about a command, as jpgtool COMMAND --help\n"
    "  jpgtool completion SHELL  what makes bash, zsh or fish complete command lines\n"
    "  jpgtool --version        the version\n"
    "\n"
    "Exit status: 0 done, 1 error, 2 decoded with damage, 64 wrong usage.\n";

const Command *findCommand(const std::string &name) {
  for (const Command &command : kCommands) {
    if (name == command.name) return &command;
  }
  return nullptr;
}

// Reports a failure if standard output couldn't be written.
int finish(int status) {
  const bool written = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
  return written || status != jpgtool::kExitOk ? status : jpgtool::fail("-", JPG_E_WRITE_FAULT);
}

int runCommand(const Command &command, const jpgtool::Words &words) {
  for (const std::string &word : words) {
    if (word == "--") break;
    if (word == "--help" || word == "-h") {
      std::fputs(command.help, stdout);
      return finish(jpgtool::kExitOk);
    }
  }
  return finish(command.run(words));
}

int printCompletion(const jpgtool::Words &words) {
  std::vector<jpgtool::CommandHelp> commands;
  for (const Command &command : kCommands) commands.push_back({command.name, command.help});
  std::string script;
  if (words.size() != 2 || !jpgtool::completionFor(words[1], commands, &script)) {
    return jpgtool::failUsage("completion takes bash, zsh or fish");
  }
  std::fputs(script.c_str(), stdout);
  return finish(jpgtool::kExitOk);
}

int run(const jpgtool::Words &words) {
  if (words.empty()) return jpgtool::failUsage("no command given");
  const std::string &first = words[0];
  const bool help = first == "--help" || first == "-h" || first == "help";
  if (help && words.size() > 1 && words[1] != "--json") {
    const Command *command = findCommand(words[1]);
    if (command == nullptr) return jpgtool::failUsage("unknown command " + words[1]);
    std::fputs(command->help, stdout);
    return finish(jpgtool::kExitOk);
  }
  if (help) {
    std::fputs(kHelp, stdout);
    return finish(jpgtool::kExitOk);
  }
  if (first == "--version") {
    std::puts("jpgtool " JPG_VERSION_STRING);
    return finish(jpgtool::kExitOk);
  }
  if (first == "completion") return printCompletion(words);
  const Command *command = findCommand(first);
  if (command == nullptr) return jpgtool::failUsage("unknown command " + first);
  return runCommand(*command, jpgtool::Words(words.begin() + 1, words.end()));
}

}  // namespace

int main(int argc, char **argv) {
  jpgtool::prepareProcess();
  jpgtool::Words words = jpgtool::wordsOf(argc, argv);
  words.erase(words.begin());
  // Before anything can fail.
  for (const std::string &word : words) {
    if (word == "--") break;
    if (word == "--json") jpgtool::wantJson(true);
  }
  return run(words);
}
