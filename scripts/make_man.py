#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes the manual page of jpgtool out of what its commands say with --help, which is the one
source of both: make_man.py JPGTOOL [OUT]. With --completions JPGTOOL FOLDER it writes what makes shells
complete command lines."""
import os
import re
import subprocess
import sys

# The emulator for programs of another target, if any.
EMULATOR = os.environ.get("JPG_EMULATOR", "").split()
SUMMARY = "look into JPEG files and convert them"
EXAMPLES = [
    ("All photographs of a folder as PNG files, four at a time:", "jpgtool decode photos/*.jpg -o png/ --to png -j 4"),
    ("A preview at an eighth of the size, into another program:", "jpgtool decode photo.jpg --scale 1/8 -o - | display -"),
    ("A smaller copy that keeps Exif, colour profile and comment:",
     "jpgtool decode photo.jpg -o - | jpgtool encode - -o small.jpg --quality 85 --copy photo.jpg"),
    ("Date, camera and place of every photograph in a tree:", "jpgtool exif -r --json photos"),
    ("A scan of 16 bits without loss:", "jpgtool encode scan.png -o scan.jpg --lossless --predictor auto"),
    ("How far two pictures are apart:", "jpgtool compare photo.jpg small.jpg"),
]
SEE_ALSO = ["The pages of the library in /usr/share/doc/jpg, ITU-T T.81 and T.871.",
            "Bash, zsh and fish complete command lines of jpgtool; see jpgtool completion."]
COMPLETIONS = {"bash": "jpgtool.bash", "zsh": "_jpgtool", "fish": "jpgtool.fish"}


def say(tool, *words):
    result = subprocess.run([*EMULATOR, tool, *words], capture_output=True, check=True)
    return result.stdout.decode()


def roff(text):
    """Text of a line, so that nothing in it is taken for a request or an escape."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\\&" + text if text[:1] in (".", "'") else text


def usages(help_text):
    """The synopses, each after the tool's name."""
    head = help_text.split("\n\n")[0]
    return [re.sub(r"^(Usage:)?\s*jpgtool ", "", line) for line in head.splitlines()]


def synopsis(usage):
    """A synopsis with fixed words in bold and the others in italics."""
    out = ["\\fBjpgtool\\fR"]
    for word in usage.split():
        core = re.search(r"[\w./-]+", word)
        if core is None:
            out.append(roff(word))
            continue
        style = "\\fI" if core[0].strip("./").isupper() else "\\fB"
        before, after = word[: core.start()], word[core.end() :]
        out.append(f"{roff(before)}{style}{roff(core[0])}\\fR{roff(after)}")
    return " ".join(out)


def items(lines):
    """Pairs of term and description of an indented list."""
    pairs = []
    for line in lines:
        term = re.match(r"  (\S(?:.*?\S)?)(?:  +(\S.*))?$", line)
        if term and not line.startswith("    "):
            pairs.append((term[1], [term[2]] if term[2] else []))
        else:
            pairs[-1][1].append(line.strip())
    return pairs


def paragraphs(help_text):
    """The body of a command's help as requests."""
    out = []
    for block in help_text.rstrip("\n").split("\n\n")[1:]:
        lines = block.splitlines()
        if not lines[0].startswith("  "):
            out += [".PP"] + [roff(line) for line in lines]
            continue
        for term, description in items(lines):
            out += [".TP", f"\\fB{roff(term)}\\fR"] + [roff(line) for line in description]
    return out


def page(tool):
    overview = say(tool, "--help")
    version = say(tool, "--version").split()[1]
    blocks = overview.rstrip("\n").split("\n\n")
    commands = items(next(b for b in blocks if b.startswith("Commands:")).splitlines()[1:])
    status = next(b for b in blocks if b.startswith("Exit status: "))
    out = [".\\\" Made by scripts/make_man.py out of jpgtool --help; don't edit.",
           f'.TH JPGTOOL 1 "" "jpg {version}" "User Commands"', ".SH NAME",
           f"jpgtool \\- {SUMMARY}", ".SH SYNOPSIS"]
    helps = [(name, say(tool, name, "--help")) for name, _ in commands]
    for _, help_text in helps:
        for usage in usages(help_text):
            out += [synopsis(usage), ".br"]
    out.pop()
    out += [".SH DESCRIPTION", ".B jpgtool", "has these commands:"]
    for name, description in commands:
        out += [".TP", f"\\fB{roff(name)}\\fR"] + [roff(line) for line in description]
    for name, help_text in helps:
        out += [f".SH {name.upper()}"]
        for usage in usages(help_text):
            out += [synopsis(usage), ".br"]
        out.pop()
        out += paragraphs(help_text)
    out += [".SH EXIT STATUS"]
    for pair in status.removeprefix("Exit status: ").rstrip(".").split(", "):
        number, meaning = pair.split(" ", 1)
        out += [".TP", f"\\fB{number}\\fR", roff(meaning)]
    out += [".SH EXAMPLES"]
    for meaning, line in EXAMPLES:
        out += [".PP", roff(meaning), ".PP", ".nf", ".RS", roff(line), ".RE", ".fi"]
    out += [".SH SEE ALSO"] + [roff(line) for line in SEE_ALSO]
    return "\n".join(out) + "\n"


def write_completions(tool, folder):
    os.makedirs(folder, exist_ok=True)
    for shell, name in COMPLETIONS.items():
        with open(f"{folder}/{name}", "w", encoding="utf-8") as file:
            file.write(say(tool, "completion", shell))


def main():
    if sys.argv[1] == "--completions":
        return write_completions(*sys.argv[2:])
    text = page(sys.argv[1])
    if len(sys.argv) > 2:
        with open(sys.argv[2], "w", encoding="utf-8") as file:
            file.write(text)
    else:
        sys.stdout.write(text)
    return None


if __name__ == "__main__":
    main()
