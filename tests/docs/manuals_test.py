#!/usr/bin/env python3
"""Compares what tpk says of itself with its manual pages and its completion.

    manuals_test.py TPK PROJECT

Every command and option that --help prints is in tpk.1 and is completed, and the other way round;
every key that a description may have is in tpk.5, and the other way round; so is every option that
the installer reads in installer.8.
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

TPK, PROJECT = sys.argv[1], Path(sys.argv[2])
MANUALS = PROJECT / "docs" / "man"
NO_KEY = "zzzzzzzz"

# Section of tpk.5, and a description with a key in that table that none has.
PACKAGE = 'name = "a"\nversion = "1.0"\n'
TABLES = {
    "Package": PACKAGE + f"{NO_KEY} = 1\n",
    "Relation": PACKAGE + f"provides = [{{ {NO_KEY} = 1 }}]\n",
    "Script": PACKAGE + f"oninstall = {{ {NO_KEY} = 1 }}\n",
    "Source": PACKAGE + f"files = {{ {NO_KEY} = 1 }}\n",
    "Rule": PACKAGE + f"[[rule]]\n{NO_KEY} = 1\n",
    "Entry": PACKAGE + f"[[entry]]\n{NO_KEY} = 1\n",
    "Bundle": PACKAGE + f"[bundle]\n{NO_KEY} = 1\n",
}

errors = []


def output_of(*words, expected=0):
    done = subprocess.run(words, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          timeout=20, check=False)
    if done.returncode != expected:
        errors.append(f"{' '.join(words)}: exit status {done.returncode}\n{done.stdout}")
    return done.stdout


def block_of(help_text, title):
    found = re.search(rf"^{title}:\n((?:  .*\n)*)", help_text, re.MULTILINE)
    return found[1] if found else ""


def commands_of_program(words=()):
    """{"product new": {"--help", ...}}; groups of commands as (words, names) in GROUPS."""
    text = output_of(TPK, *words, "--help")
    options = set()
    for line in block_of(text, "Options").splitlines():
        found = re.match(r"  (-\S+)", line)
        if found:
            options.update(found[1].split(","))
    options.discard("-h")
    names = re.findall(r"^  (\S+)", block_of(text, "Subcommands"), re.MULTILINE)
    result = {" ".join(words): options}
    if names:
        GROUPS[" ".join(words)] = set(names)
    for name in names:
        result.update(commands_of_program((*words, name)))
    return result


GROUPS = {}


def sections_of(page):
    """The text below each .Ss, and as "" what stands before the first of them."""
    pieces = re.split(r"^\.S[sh] (.*)\n", (MANUALS / page).read_text(encoding="utf-8"),
                      flags=re.MULTILINE)
    return {"": pieces[0], **dict(zip(pieces[1::2], pieces[2::2]))}


def compare(what, of_program, of_text, place):
    for missing in sorted(of_program - of_text):
        errors.append(f"{what} {missing} is not in {place}")
    for stray in sorted(of_text - of_program):
        errors.append(f"{what} {stray} is in {place}, and nowhere else")


def check_page(commands):
    sections = sections_of("tpk.1")
    described = {title[4:] for title in sections if title.startswith("tpk ")}
    leaves = {name for name in commands if name not in GROUPS}
    compare("the command", leaves, described, "tpk.1")
    for name in leaves & described:
        listed = re.findall(r"^\.It (.*Fl.*)$", sections[f"tpk {name}"], re.MULTILINE)
        flags = {f"-{flag}" for line in listed for flag in re.findall(r"Fl (\S+)", line)}
        compare(f"tpk {name}: the option", commands[name] - {"--help"}, flags, "tpk.1")


def completed(words):
    script = '. "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _tpk; echo "${COMPREPLY[*]}"'
    completion = PROJECT / "tools" / "tpk" / "command" / "completion" / "tpk"
    return set(output_of("bash", "-c", script, str(completion), "tpk", *words).split())


def check_completion(commands):
    for name, options in commands.items():
        words = name.split()
        if name in GROUPS:
            compare("the command", GROUPS[name], completed([*words, ""]), "the completion")
        compare(f"tpk {name}: the option", options, completed([*words, "-"]), "the completion")


def check_keys():
    sections = sections_of("tpk.5")
    with tempfile.TemporaryDirectory() as folder:
        for title, text in TABLES.items():
            path = Path(folder) / "package.toml"
            path.write_text(text, encoding="utf-8")
            said = output_of(TPK, "build", "-o", f"{folder}/none.tpk", str(path), expected=1)
            known = re.search(r"known here are (.*)", said)
            if not known:
                errors.append(f"no list of the keys of {title}:\n{said}")
                continue
            listed = set()
            for line in re.findall(r"^\.It Ic (.*)$", sections[title], re.MULTILINE):
                if "No =" in line:
                    listed.update(re.findall(r"(?:^|Ic )(\S+) No =", line))
                else:
                    listed.update(line.replace(" ,", "").split())
            compare(f"{title}: the key", set(known[1].split(", ")), listed, "tpk.5")


def check_installer():
    """It prints no list of its options: its source has them."""
    source = (PROJECT / "main" / "options.cpp").read_text(encoding="utf-8")
    page = (MANUALS / "installer.8").read_text(encoding="utf-8")
    listed = re.findall(r"^\.It (Fl.*)$", page, re.MULTILINE)
    flags = {f"-{flag}" for line in listed for flag in re.findall(r"Fl(?: ([-\w]+))?", line)}
    compare("the option", set(re.findall(r'\(argument, "(-[^"]*)"\)', source)), flags, "installer.8")


def main():
    commands = commands_of_program()
    check_page(commands)
    check_completion(commands)
    check_keys()
    check_installer()
    print("\n".join(errors))
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main())
