// SPDX-License-Identifier: MIT
// jpgtool completion: scripts for shells, made of the help texts.
#include "completion.h"

namespace jpgtool {
namespace {

// The words of a help text's list that begin a line as options.
std::vector<std::string> optionsIn(const std::string &help) {
  std::vector<std::string> options;
  for (size_t at = help.find("\n  -"); at != std::string::npos; at = help.find("\n  -", at + 1)) {
    const size_t end = help.find('\n', at + 1);
    const std::string line = help.substr(at + 3, end - at - 3);
    // Up to the description, which stands behind two blanks: one option, or several with commas.
    const std::string names = line.substr(0, line.find("  ")) + " ";
    for (size_t i = 0; i < names.size();) {
      const size_t stop = names.find(' ', i);
      std::string word = names.substr(i, stop - i);
      if (!word.empty() && word.back() == ',') word.pop_back();
      if (word.size() > 1 && word[0] == '-') options.push_back(word);
      i = stop + 1;
    }
  }
  options.push_back("--help");
  return options;
}

std::string joined(const std::vector<std::string> &words) {
  std::string text;
  for (const std::string &word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

std::string namesOf(const std::vector<CommandHelp> &commands) {
  std::vector<std::string> names;
  for (const CommandHelp &command : commands) names.push_back(command.name);
  return joined(names) + " help completion";
}

std::string bashScript(const std::vector<CommandHelp> &commands) {
  std::string script =
      "# bash completion for jpgtool; made by jpgtool completion bash\n"
      "_jpgtool() {\n"
      "  local word=${COMP_WORDS[COMP_CWORD]} options=\n"
      "  if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
      "    COMPREPLY=($(compgen -W \"" +
      namesOf(commands) +
      " --help --version\" -- \"$word\"))\n"
      "    return\n"
      "  fi\n"
      "  case ${COMP_WORDS[1]} in\n";
  for (const CommandHelp &command : commands) {
    script += std::string("    ") + command.name + ") options=\"" +
              joined(optionsIn(command.help)) + "\" ;;\n";
  }
  return script + "    help) options=\"" + namesOf(commands) +
         "\" ;;\n"
         "    completion) options=\"bash zsh fish\" ;;\n"
         "  esac\n"
         "  case ${COMP_WORDS[1]}:$word in\n"
         "    help:* | completion:* | *:-*) COMPREPLY=($(compgen -W \"$options\" -- \"$word\")) "
         ";;\n"
         "    *) COMPREPLY=($(compgen -f -- \"$word\")) ;;\n"
         "  esac\n"
         "}\n"
         "complete -o filenames -F _jpgtool jpgtool\n";
}

std::string zshScript(const std::vector<CommandHelp> &commands) {
  std::string script =
      "#compdef jpgtool\n"
      "# zsh completion for jpgtool; made by jpgtool completion zsh\n"
      "_jpgtool() {\n"
      "  if (( CURRENT == 2 )); then\n"
      "    compadd -- " +
      namesOf(commands) +
      " --help --version\n"
      "    return\n"
      "  fi\n"
      "  if [[ $words[CURRENT] != -* && $words[2] != (help|completion) ]]; then\n"
      "    _files\n"
      "    return\n"
      "  fi\n"
      "  case $words[2] in\n";
  for (const CommandHelp &command : commands) {
    script += std::string("    ") + command.name + ") compadd -- " +
              joined(optionsIn(command.help)) + " ;;\n";
  }
  return script + "    help) compadd -- " + namesOf(commands) +
         " ;;\n"
         "    completion) compadd -- bash zsh fish ;;\n"
         "  esac\n"
         "}\n"
         "_jpgtool \"$@\"\n";
}

std::string fishScript(const std::vector<CommandHelp> &commands) {
  std::string script =
      "# fish completion for jpgtool; made by jpgtool completion fish\n"
      "complete -c jpgtool -n __fish_use_subcommand -f -a '" +
      namesOf(commands) + "'\n";
  for (const CommandHelp &command : commands) {
    for (const std::string &option : optionsIn(command.help)) {
      const bool isLong = option[1] == '-';
      script += std::string("complete -c jpgtool -n '__fish_seen_subcommand_from ") + command.name +
                "' " + (isLong ? "-l " + option.substr(2) : "-s " + option.substr(1)) + "\n";
    }
  }
  return script + "complete -c jpgtool -n '__fish_seen_subcommand_from help' -f -a '" +
         namesOf(commands) +
         "'\n"
         "complete -c jpgtool -n '__fish_seen_subcommand_from completion' -f -a 'bash zsh fish'\n";
}

}  // namespace

bool completionFor(const std::string &shell, const std::vector<CommandHelp> &commands,
                   std::string *script) {
  if (shell == "bash") *script = bashScript(commands);
  if (shell == "zsh") *script = zshScript(commands);
  if (shell == "fish") *script = fishScript(commands);
  return !script->empty();
}

}  // namespace jpgtool
