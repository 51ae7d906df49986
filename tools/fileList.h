// SPDX-License-Identifier: MIT
// Commands that take many files and folders.
#ifndef JPGTOOL_FILELIST_H
#define JPGTOOL_FILELIST_H

#include <functional>
#include <string>
#include <vector>

#include "input.h"
#include "json.h"
#include "options.h"

namespace jpgtool {

// Shows one file: fills the JSON, or prints text when no JSON is wanted. Returns an exit status.
using ShowFile = std::function<int(const Input &input, const Options &options, Json *json)>;

// The work of such a command: parses the words (beside the rules --json, -r and -- are known) and
// shows every file, of folders with -r every JPEG file by its name. One file gives one JSON value,
// several or a folder an array. Returns the worst exit status.
int showFiles(const char *command, const std::vector<std::string> &words,
              std::vector<OptionRule> rules, const ShowFile &show);

}  // namespace jpgtool

#endif
