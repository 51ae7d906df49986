// jpgtool: shows the contents of JPEG files and converts them, through the library's public
// interface.
#include <csignal>
#include <cstdio>
#include <cstring>

#include "commands.h"
#include "jpg.h"
#include "report.h"

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
    {"thumbnail", jpgtool::runThumbnail, jpgtool::kThumbnailHelp},
    {"compare", jpgtool::runCompare, jpgtool::kCompareHelp},
    {"view", jpgtool::runView, jpgtool::kViewHelp},
};

constexpr char kHelp[] =
    "Usage: jpgtool COMMAND [ARGUMENT...]\n"
    "\n"
    "Commands:\n"
    "  info        shows the headers of a JPEG file\n"
    "  decode      decodes JPEG files into picture files\n"
    "  encode      encodes picture files into JPEG files\n"
    "  exif        lists the Exif attributes of a JPEG file\n"
    "  thumbnail   decodes the Exif thumbnail of a JPEG file into a bitmap file\n"
    "  compare     compares two picture files, sample by sample\n"
    "  view        shows a picture file in the terminal\n"
    "\n"
    "  jpgtool COMMAND --help   more about a command\n"
    "  jpgtool --version        the version\n"
    "\n"
    "Exit status: 0 done, 1 error, 2 decoded with damage, 64 wrong usage.\n";

const Command *findCommand(const char *name) {
  for (const Command &command : kCommands) {
    if (std::strcmp(command.name, name) == 0) return &command;
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

}  // namespace

int main(int argc, char **argv) {
  std::signal(SIGPIPE, SIG_IGN);  // a closed pipe is a failed write
  if (argc < 2) return jpgtool::failUsage("no command given");
  const std::string first = argv[1];
  if (first == "--help" || first == "-h" || first == "help") {
    std::fputs(kHelp, stdout);
    return finish(jpgtool::kExitOk);
  }
  if (first == "--version") {
    std::puts("jpgtool " JPG_VERSION_STRING);
    return finish(jpgtool::kExitOk);
  }
  const Command *command = findCommand(argv[1]);
  if (command == nullptr) return jpgtool::failUsage("unknown command " + first);
  return runCommand(*command, jpgtool::Words(argv + 2, argv + argc));
}
