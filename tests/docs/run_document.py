#!/usr/bin/env python3
"""Runs the commands of a Markdown document in an empty folder and compares what they print.

    run_document.py [--write] [--link DIR]... [--needs COMMAND] [--except REGEX]
                    --path DIR[:DIR...] DOCUMENT

A block ```console has commands, "$ command" with further lines as "> line", each followed by what
it prints on both outputs. A block with a second word, as ```toml hello/package.toml, is a file, put
there when its turn comes. All commands run in one shell. --link puts a link to the folder there.
Lines that --except matches are passed over: what one machine prints and another one does not.
--write puts what was printed into the document.

Exit status: 0 the document is true, 1 it is not, 77 the command of --needs failed.
"""

import argparse
import difflib
import os
import re
import shlex
import subprocess
import sys
import tempfile
from pathlib import Path

FENCE = re.compile(r"^```(\w*) ?(.*)$")
TIME_LIMIT = 100  # seconds
ENVIRONMENT = {"LC_ALL": "C.UTF-8", "TZ": "UTC", "SOURCE_DATE_EPOCH": "1700000000"}


def read_steps(lines):
    """Commands and files in their order, with the lines where the output of a command stands."""
    steps = []
    language, name, start = None, "", 0
    for number, line in enumerate(lines + ["```"]):
        fence = FENCE.match(line)
        if language is None:
            if fence:
                language, name, start = fence[1], fence[2], number + 1
            continue
        if fence:
            if name:
                steps.append({"file": name, "text": "\n".join(lines[start:number]) + "\n"})
            elif language == "console" and steps and "command" in steps[-1]:
                steps[-1].setdefault("end", number)
            language = None
        elif language == "console" and not name:
            if line.startswith("$ "):
                if steps and "command" in steps[-1]:
                    steps[-1].setdefault("end", number)
                steps.append({"command": line[2:], "begin": number + 1})
            elif line.startswith("> ") and steps[-1]["begin"] == number:
                steps[-1]["command"] += "\n" + line[2:]
                steps[-1]["begin"] = number + 1
    return steps


def script_of(steps):
    text = "umask 022\n"
    for number, step in enumerate(steps):
        if "command" in step:
            text += f"printf '\\001{number}\\001\\n'\n{step['command']}\n"
        else:
            text += f"mkdir -p \"$(dirname '{step['file']}')\"\n"
            text += f"cat >'{step['file']}' <<'END OF FILE'\n{step['text']}END OF FILE\n"
    return text


def run(steps, path, folder, exception):
    """What each command printed, by its number, without the lines that are excepted."""
    with tempfile.NamedTemporaryFile("w", suffix=".sh") as script:
        script.write(script_of(steps))
        script.flush()
        environment = dict(ENVIRONMENT, HOME=folder, PATH=f"{path}:{os.environ['PATH']}")
        done = subprocess.run(["bash", script.name], cwd=folder, env=environment, text=True,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=TIME_LIMIT, check=False)
    said = "".join(line for line in done.stdout.splitlines(keepends=True)
                   if not (exception and re.fullmatch(exception, line.rstrip("\n"))))
    pieces = re.split(r"\x01(\d+)\x01\n", said)
    return {int(number): text for number, text in zip(pieces[1::2], pieces[2::2])}


def rewritten(lines, steps, printed):
    result = list(lines)
    for number, step in reversed(list(enumerate(steps))):
        if "command" in step:
            output = printed.get(number, "(was not run)\n").splitlines()
            result[step["begin"]:step["end"]] = output
    return result


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--write", action="store_true")
    parser.add_argument("--link", type=Path, action="append", default=[])
    parser.add_argument("--needs")
    parser.add_argument("--except", dest="exception")
    parser.add_argument("--path", required=True)
    parser.add_argument("document", type=Path)
    options = parser.parse_args()
    # The commands run elsewhere.
    options.path = ":".join(os.path.abspath(folder) for folder in options.path.split(":"))

    if options.needs and subprocess.run(options.needs, shell=True, check=False).returncode != 0:
        # As other tests say it: scripts/lib/stages.sh collects the reasons.
        print(f"{options.document}: Skipped\nnot possible here: {options.needs}")
        return 77
    lines = options.document.read_text(encoding="utf-8").splitlines()
    steps = read_steps(lines)
    if not any("command" in step for step in steps):
        print(f"{options.document}: no commands")
        return 1
    with tempfile.TemporaryDirectory() as folder:
        for target in options.link:
            Path(folder, target.name).symlink_to(target.resolve())
        printed = run(steps, options.path, folder, options.exception)
    true = rewritten(lines, steps, printed)
    if options.write:
        options.document.write_text("\n".join(true) + "\n", encoding="utf-8")
        return 0
    difference = list(difflib.unified_diff(lines, true, str(options.document), "as it is", n=8,
                                           lineterm=""))
    print("\n".join(difference))
    if difference:
        command = shlex.join([sys.argv[0], "--write", *sys.argv[1:]])
        print(f"\nWhen this is what the document is to say:\n{command}")
    return 1 if difference else 0


if __name__ == "__main__":
    sys.exit(main())
