#!/usr/bin/env python3
"""scripts/check-includes takes the project as it is, and refuses it with one wrong line.

    includes_test.py PROJECT project|wrong-lines|houses
"""

import importlib.machinery
import importlib.util
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

PROJECT, CASE = Path(sys.argv[1]), sys.argv[2]
CHECK = PROJECT / "scripts/check-includes"

# The file that gets a line, the line, and what is said: PLACE stands for the file and the number of
# the line.
WRONG = {
    "PackageThatKnowsTheRepository": (
        "package/state.cpp", '#include "repo/repo.h"',
        r"PLACE: includes repo/repo\.h: package/ knows only stream/, model/, repo/console \+ .*"),
    "ConsoleThatKnowsPackages": (
        "repo/console.h", '#include "package/package.h"',
        r"PLACE: includes package/package\.h: repo/console \+ .* knows only stream/, model/"),
    "LowestRoom": (
        "stream/hash.cpp", '#include "model/version.h"',
        r"PLACE: includes model/version\.h: stream/ knows no other"),
    "ProgramThatKnowsTheTool": (
        "plan/schedule.cpp", '#include "tools/tpk/main.cpp"',
        r"PLACE: includes tools/tpk/main\.cpp: plan/ knows only .*"),
    "ToolThatKnowsTooMuch": (
        "tools/tpk/main.cpp", '#include "repo/repo.h"',
        r"PLACE: includes repo/repo\.h: tools/tpk/main knows only stream/, model/, package/, .*"),
    "ToolsRoomThatKnowsALaterOne": (
        "tools/tpk/read/archivereader.h", '#include "tools/tpk/make/archive.h"',
        r"PLACE: includes tools/tpk/make/archive\.h: tools/tpk/read/ knows only stream/, .*, "
        r"tools/tpk/host/"),
    "RoomThatKnowsTheOneBesideIt": (
        "tools/tpk/try/snapshot.cpp", '#include "tools/tpk/show/graph.h"',
        r"PLACE: includes tools/tpk/show/graph\.h: tools/tpk/try/ knows only stream/, .*, "
        r"tools/tpk/make/"),
    "Circle": (
        "model/version.h", '#include "model/packageinfo.h"',
        r"model/packagedep\.cpp:\d+: model/packagedep \+ model/packageinfo needs model/version, "
        r"and\n"
        r"PLACE: model/version needs model/packagedep \+ model/packageinfo: a circle"),
    "PathWithoutItsFolder": (
        "repo/listing.cpp", '#include "repo.h"',
        r"PLACE: there is no repo\.h: paths begin at the root"),
    "SpacesInTheLine": (
        "package/files.h", '  #  include  "plan/flashprobe.h"  // "',
        r"PLACE: includes plan/flashprobe\.h: .*"),
}


def run(root):
    done = subprocess.run([sys.executable, CHECK, root], text=True, capture_output=True,
                          check=False)
    if done.stderr:
        sys.exit(done.stderr)
    return done.returncode, done.stdout


def copy_to(folder):
    for source in ("main", "stream", "model", "repo", "plan", "package", "tools/tpk"):
        shutil.copytree(PROJECT / source, folder / source)


def refuses(copy, path, wrong, said):
    right = (copy / path).read_text()
    lines = right.splitlines()
    at = max(i for i, line in enumerate(lines) if line.startswith(("#include", "#pragma"))) + 1
    lines.insert(at, wrong)
    (copy / path).write_text("\n".join(lines) + "\n")
    status, output = run(copy)
    (copy / path).write_text(right)
    pattern = said.replace("PLACE", re.escape(f"{path}:{at + 1}"))
    if status != 1 or not re.fullmatch(f"{pattern}\n", output):
        sys.exit(f"status {status}, expected {pattern}\n{output}")
    print(output, end="")


def wrong_lines():
    with tempfile.TemporaryDirectory() as folder:
        copy_to(Path(folder))
        expect(run(folder), (0, ""))
        for name, case in WRONG.items():
            print(f"{name}:")
            refuses(Path(folder), *case)


def check_of_its_own(files, rooms):
    """What is said of a house of the given files."""
    loader = importlib.machinery.SourceFileLoader("check_includes", str(CHECK))
    sys.dont_write_bytecode = True
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    with tempfile.TemporaryDirectory() as folder:
        for path, text in files.items():
            (Path(folder) / path).parent.mkdir(parents=True, exist_ok=True)
            (Path(folder) / path).write_text(text)
        check = module.Check(Path(folder))
        check.house(("house",), (), rooms)
        check.circles()
        return check.problems


def expect(seen, expected):
    if seen != expected:
        sys.exit(f"expected {expected}, not {seen}")


ROOMS = (("house/low/",), ("house/high/",), ("house/main",))
GOOD = {"house/low/a.h": "", "house/high/b.h": '#include "house/low/a.h"\n', "house/main.cpp": ""}
LONG_CIRCLE = {f"house/low/{name}.h": f'\n#include "house/low/{other}.h"\n'
               for name, other in ("xy", "yz", "zx")}
SOURCE_IN_CIRCLE = {"house/low/x.h": "", "house/low/x.cpp": '#include "house/low/y.h"\n',
                    "house/low/y.h": '#include "house/low/x.h"\n'}


def houses():
    expect(check_of_its_own(GOOD, ROOMS), [])
    expect(check_of_its_own({**GOOD, "house/c.h": ""}, ROOMS),
           ["house/c.h:1: stands in no room; which is it?"])
    expect(check_of_its_own({"house/low/a.h": "", "house/main.cpp": ""}, ROOMS),
           ["scripts/check-includes: there is no house/high/"])
    expect(check_of_its_own({**GOOD, **LONG_CIRCLE}, ROOMS),
           ["house/low/x.h:2: house/low/x needs house/low/y, and\n"
            "house/low/y.h:2: house/low/y needs house/low/z, and\n"
            "house/low/z.h:2: house/low/z needs house/low/x: a circle"])
    expect(check_of_its_own({**GOOD, **SOURCE_IN_CIRCLE}, ROOMS),
           ["house/low/x.cpp:1: house/low/x needs house/low/y, and\n"
            "house/low/y.h:1: house/low/y needs house/low/x: a circle"])


if CASE == "project":
    expect(run(PROJECT), (0, ""))
elif CASE == "wrong-lines":
    wrong_lines()
elif CASE == "houses":
    houses()
else:
    sys.exit(f"there is no case {CASE}")
