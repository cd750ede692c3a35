"""What a power cut did: from what stands on the flash before and after the next run."""

import re
from dataclasses import dataclass, field

from scenarios import MEMBERS, NUMBERS, SET_UP, name_of

DATABASE = "/var/pdb/"
DROPPED = "/rw/pckg/"
MARK = "/PCKGS_CHANGED"
LOG = "/postlog"
AS_UNDISTURBED = "as after an undisturbed run"


@dataclass
class State:
    """What stands on a flash; paths are those of the router."""
    files: dict = field(default_factory=dict)  # digest by path
    entries: dict = field(default_factory=dict)  # type, mode, owner, link target by path
    records: dict = field(default_factory=dict)  # by package: text by file
    listing: int = -1  # status of the program

    def dropped(self):
        return {path[len(DROPPED):] for path in self.files if path.startswith(DROPPED)}

    def version(self, name):
        """The packed version in a record, None when it has none."""
        numbers = self.records.get(name, {}).get("version", "").split()
        return int(numbers[0]) if len(numbers) == 2 and all(n.isdigit() for n in numbers) else None

    def looks_installed(self, name):
        """The record is whole as far as the program can see it. Bundles have no list of files."""
        return self.version(name) is not None and (
            name == "office" or "files" in self.records[name])

    def listed(self, name):
        return {"/" + line.lstrip("/") for line in self.records[name].get("files", "").split("\n")
                if line}


@dataclass
class Answer:
    mounted: bool
    before: State = None
    status: int = -1
    said: str = ""
    after: State = None


def read_state(text):
    state = State()
    section = ""
    for line in text.splitlines():
        if line.startswith("@"):
            section, _, number = line.partition(" ")
            if section == "@listing":
                state.listing = int(number)
        elif section == "@files":
            digest, path = line.split("  ", 1)
            path = path.removeprefix("/flash")
            state.files[path] = digest
            if path.startswith(DATABASE):
                name, file = path[len(DATABASE):].split("/", 1)
                state.records.setdefault(name, {}).setdefault(file, "")
        elif section == "@entries":
            kind, mode, owner, path = line.split("|", 3)
            path, _, target = path.strip("'").partition("' -> '")
            path = path.removeprefix("/flash")
            state.entries[path] = (kind.replace("regular empty file", "regular file"), mode, owner, target)
            if path.startswith(DATABASE) and kind == "directory":
                state.records.setdefault(path[len(DATABASE):], {})
        elif section == "@records":
            path, _, content = line.partition(":")
            name, file = path.removeprefix("/flash" + DATABASE).split("/", 1)
            record = state.records.setdefault(name, {})
            record[file] = record.get(file, "") + content + "\n"
    return state


def read_answer(text):
    if "@not mounted" in text:
        return Answer(False)
    before, run, rest = re.split(r"^@run (\d+)$", text, maxsplit=1, flags=re.MULTILINE)
    said, after = rest.split("@files\n", 1)
    return Answer(True, read_state(before), int(run), said, read_state("@files\n" + after))


@dataclass
class Outcome:
    violations: list
    deviations: list

    def parts(self):
        return self.violations + self.deviations or [AS_UNDISTURBED]

    def __str__(self):
        return "; ".join(self.parts())


class Judge:
    def __init__(self, scenario, packages, end):
        """end: what an undisturbed run left."""
        self.scenario, self.packages, self.end = scenario, packages, end

    def is_reference(self):
        """Whether the undisturbed run did what it was asked for: else nothing can be judged by it."""
        numbers = {name: NUMBERS[package.rsplit("-", 1)[1]] for package in self.scenario.run
                   for name in (MEMBERS + ("office",) if name_of(package) == "office" else (name_of(package),))}
        return (all(self.end.looks_installed(name) and self.end.version(name) == number
                    for name, number in numbers.items())
                and not set(self.scenario.uninstall) & self.end.records.keys()
                and self.scenario.untouched() <= self.end.records.keys()
                and not self.torn(self.end) and not self.end.dropped() and SET_UP in self.end.files)

    def outcome(self, answer):
        if answer is None:
            return Outcome(["the kernel died of it, twice"], [])
        violations = self.violations(answer)
        deviations = self.deviations(answer) if answer.mounted else []
        if not violations and not deviations:
            violations = [f"{path} is not what it should be" for path in self.unlike_the_end(answer)]
        return Outcome(violations, deviations)

    def torn(self, state):
        """Packages that look installed and whose files are not all there as they should be."""
        result = set()
        for name in state.records:
            if not state.looks_installed(name) or name == "office":
                continue
            expected = self.packages.digests(name, state.version(name))
            found = {path: state.files.get(path) for path in state.listed(name)}
            if found != expected:
                result.add(name)
        return result

    def violations(self, answer):
        """What must never be, as sentences."""
        if not answer.mounted:
            return ["the flash could not be mounted"]
        result = []
        for when, state in (("after the cut", answer.before), ("after the next run", answer.after)):
            if state.listing != 0:
                result.append(f"the database does not load {when}: status {state.listing}")
            result += [f"{name} is listed as installed and torn {when}" for name in sorted(self.torn(state))]
        if answer.status != 0:
            result.append(f"the next run ended with status {answer.status}")
        for name in sorted(answer.after.records):
            if not answer.after.looks_installed(name):
                result.append(f"an unfinished record of {name} stays")
        result += self._harm(answer.after) + self._unexplained(answer)
        return result

    def _harm(self, after):
        """Of packages that the run does not touch, but for those that the design gives up."""
        result = []
        for name in sorted(self.scenario.untouched() - {"needing"}):
            paths = {path for path in self.end.entries if self._belongs(name, path)}
            if any(after.entries.get(path) != self.end.entries[path]
                   or after.files.get(path) != self.end.files.get(path) for path in paths):
                result.append(f"{name}, which the run does not touch, is not what it was")
        return result

    def _belongs(self, name, path):
        return path.startswith(DATABASE + name + "/") or path in self.end.listed(name)

    def _unexplained(self, answer):
        """Packages that are not as an undisturbed run leaves them although the cut left what that
        needs: their file on the flash."""
        result = []
        for package in self.scenario.run:
            name = name_of(package)
            if package + ".tpk" in answer.before.dropped() and not self._as_new(answer.after, name):
                result.append(f"{name} is not installed although its file was there")
        return result

    def _as_new(self, state, name):
        names = {name} | (set(MEMBERS) if name == "office" else set())
        return all(state.looks_installed(n) and state.version(n) == self.end.version(n) for n in names)

    def deviations(self, answer):
        """Ways in which the state after the next run is not that of an undisturbed run."""
        after, result = answer.after, []
        for package in self.scenario.run:
            name = name_of(package)
            if not self._as_new(after, name):
                result.append(self._instead(after, name))
        for name in self.scenario.uninstall:
            if name in after.records:
                result.append(f"{name} stays: nobody asks again to uninstall it")
        if "needing" in self.scenario.untouched() and "needing" not in after.records:
            result.append("needing, which needs alpha, is gone")
        if after.dropped():
            result.append("the package file stays in the drop folder")
        if MARK not in after.files:
            result.append("nothing says that packages changed")
        if self._as_new(after, "alpha") and after.files.get(SET_UP) != self.end.files[SET_UP]:
            result.append("alpha 1.1 without all that its install script does")
        if any(path.endswith("/files.new") for path in after.files):
            result.append("a second list of files in a record")
        if self._left_over(after):
            result.append("files without an owner")
        return result

    def _instead(self, state, name):
        if name == "office" and "office" in state.records:
            return "office has only its first member"
        if name not in state.records:
            return f"{name} is gone" if name == "alpha" else f"{name} is not installed"
        return f"{name} is still the former one"

    def _left_over(self, state):
        owned = {LOG, MARK, SET_UP}.union(*(state.listed(name) for name in state.records))
        return {path for path in state.files
                if path not in owned and not path.startswith((DATABASE, DROPPED))}

    def unlike_the_end(self, answer):
        """Paths that are not as after an undisturbed run, when there is no deviation."""
        paths = (answer.after.entries.keys() | self.end.entries.keys()) - {LOG}
        return sorted(path for path in paths
                      if answer.after.entries.get(path) != self.end.entries.get(path)
                      or answer.after.files.get(path) != self.end.files.get(path))
