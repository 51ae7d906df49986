// SPDX-License-Identifier: MIT
#include "fileList.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "files.h"
#include "jpg.h"
#include "report.h"

namespace jpgtool {
namespace {

bool isJpegName(const std::string &name) {
  const std::string extension = extensionOf(name);
  return extension == "jpg" || extension == "jpeg" || extension == "jpe" || extension == "jfif";
}

// Adds the JPEG files of a folder and of those in it. False when one of them can't be read.
bool addFolder(const std::string &folder, std::vector<std::string> *files) {
  std::vector<std::string> names;
  if (!listFolder(folder, &names)) {
    fail(folder, "cannot read the folder: " + reasonOf(errno), JPG_E_OPEN_FAILED);
    return false;
  }
  bool ok = true;
  for (const std::string &name : names) {
    const std::string path = folder.back() == '/' ? folder + name : folder + "/" + name;
    // A link to a folder might lead in a circle.
    const bool link = withoutLinks(path) != path;
    if (isFolder(path)) {
      if (!link) ok = addFolder(path, files) && ok;
    } else if (isJpegName(name)) {
      files->push_back(path);
    }
  }
  return ok;
}

// Prints the values as they come: a single one, or the elements of an array.
class Values {
 public:
  explicit Values(bool many) : many_(many) {}
  void put(const Json &json) {
    if (many_) std::fputs(count_++ == 0 ? "[\n" : ",\n", stdout);
    printJson(json);
  }
  void end() const {
    if (many_) std::fputs(count_ == 0 ? "[]\n" : "]\n", stdout);
  }

 private:
  bool many_;
  size_t count_ = 0;
};

}  // namespace

int showFiles(const char *command, const std::vector<std::string> &words,
              std::vector<OptionRule> rules, const ShowFile &show) {
  // --no-eoi and --max-memory are taken and ignored: headers are read without the decoder now.
  for (const OptionRule rule : {OptionRule{"--json", false}, OptionRule{"-r", false},
                                OptionRule{"--no-eoi", false}, OptionRule{"--max-memory", true}}) {
    rules.push_back(rule);
  }
  Options options;
  std::string why;
  if (!parseOptions(words, rules, &options, &why)) return failUsage(why);
  if (options.files.empty()) return failUsage(std::string(command) + " takes one file, or several");
  int status = kExitOk;
  std::vector<std::string> files;
  for (const std::string &file : options.files) {
    if (!options.has("-r") || !isFolder(file)) {
      files.push_back(file);
    } else if (!addFolder(file, &files)) {
      status = kExitFailed;
    }
  }
  Values values(options.files.size() > 1 || options.has("-r"));
  for (const std::string &file : files) {
    Input input;
    Json json;
    why.clear();
    const uint32_t r = input.open(file, &why);
    const int one = r != JPG_OK ? fail(file, why, r) : show(input, options, &json);
    if (one != kExitOk) status = status == kExitFailed ? status : one;
    if (jsonWanted() && !json.is_null()) values.put(json);
  }
  if (jsonWanted()) values.end();
  return status;
}

}  // namespace jpgtool
