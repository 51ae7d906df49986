// SPDX-License-Identifier: MIT
// Scripts that make shells complete command lines of the tool.
#ifndef JPGTOOL_COMPLETION_H
#define JPGTOOL_COMPLETION_H

#include <string>
#include <vector>

namespace jpgtool {

struct CommandHelp {
  const char *name;
  const char *help;
};

// The script for "bash", "zsh" or "fish"; false for another shell.
bool completionFor(const std::string &shell, const std::vector<CommandHelp> &commands,
                   std::string *script);

}  // namespace jpgtool

#endif
