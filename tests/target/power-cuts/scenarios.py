"""What happens when the power goes: routers, the packages that one run changes on them, and what
each package has on the flash."""

import hashlib
import shutil
import subprocess
from dataclasses import dataclass
from pathlib import Path

MEMBERS = ("clock", "calendar")
# What the install script of alpha 1.1 leaves behind.
SET_UP = "/opt/alpha/set-up"


@dataclass(frozen=True)
class Scenario:
    name: str
    title: str
    before: tuple  # packages that are installed, as name-version
    run: tuple  # packages that lie in the drop folder
    uninstall: tuple = ()  # names
    memory: str = "scarce"  # or "enough": package files are moved to RAM

    def changed(self):
        """Names of the packages that the run installs, upgrades or uninstalls."""
        names = {name_of(package) for package in self.run} | set(self.uninstall)
        return names | set(MEMBERS) if "office" in names else names

    def untouched(self):
        return {name_of(package) for package in self.before} - self.changed()


SCENARIOS = (
    Scenario("flash", "Package files are installed from the flash",
             ("system-3.22", "base-1.0", "alpha-1.0", "former-1.0"), ("alpha-1.1", "office-1.0"),
             ("former",)),
    Scenario("ram", "Package files are moved to RAM first",
             ("system-3.22", "base-1.0", "alpha-1.0", "former-1.0"), ("alpha-1.1", "office-1.0"),
             ("former",), "enough"),
    Scenario("needed", "The upgraded package is one that another needs",
             ("system-3.22", "base-1.0", "alpha-1.0", "needing-1.0"), ("alpha-1.1",)),
)


def name_of(package):
    return package.rsplit("-", 1)[0]


def noise(seed, size):
    """Bytes that do not compress, the same ones always."""
    result = bytearray()
    while len(result) < size:
        result += hashlib.sha256(f"{seed} {len(result)}".encode()).digest()
    return bytes(result[:size])


def contents(shell):
    """The files of every package: its path on the router and what is in it."""
    def files(package, *sizes):
        name = name_of(package)
        return {f"/opt/{name}/{i}": noise(f"{package} {i}", size) for i, size in enumerate(sizes)}
    return {
        "system-3.22": {"/bin/bash": shell, "/etc/system": b"3.22\n"},
        "base-1.0": files("base-1.0", 100, 20000, 3),
        "alpha-1.0": files("alpha-1.0", 40000, 100, 5000),
        "alpha-1.1": files("alpha-1.1", 40000, 200),
        "former-1.0": files("former-1.0", 300, 9000, 20),
        "needing-1.0": files("needing-1.0", 2000),
        "clock-1.0": files("clock-1.0", 30000, 10),
        "calendar-1.0": files("calendar-1.0", 1000, 17000),
    }


def numbers_of(versions):
    """The packed versions as they stand in records: 1.0 is 0x01006600."""
    return {f"{major}.{minor}": (major << 24) + (minor << 16) + 0x6600
            for major, minor in versions}


NUMBERS = numbers_of(((1, 0), (1, 1), (3, 22)))

MORE = {
    "alpha-1.1": f"""oninstall = "echo done >{SET_UP}"\n""",
    "needing-1.0": 'requires = [{ name = "alpha", min = "1.0" }]\n',
}


class Packages:
    """Package files, in a folder that goes into the machine."""

    def __init__(self, folder, tpk, key, shell):
        self.folder, self.tpk, self.key = folder, tpk, key
        self.contents = contents(shell)
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        for package in self.contents:
            self._describe(package)
        self._describe_bundle()

    def _describe(self, package):
        source = self.folder / package
        name, version = package.rsplit("-", 1)
        for path, what in self.contents[package].items():
            file = source / "root" / path[1:]
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_bytes(what)
            file.chmod(0o755 if path.startswith("/bin/") else 0o644)
        (source / "package.toml").write_text(
            f'name = "{name}"\nversion = "{version}"\nbuild-time = 1700000000\nfiles = "root"\n'
            + MORE.get(package, ""))

    def _describe_bundle(self):
        source = self.folder / "office-1.0"
        source.mkdir()
        members = ", ".join(f'"../{name}-1.0"' for name in MEMBERS)
        (source / "package.toml").write_text(
            f'name = "office"\nversion = "1.0"\nbuild-time = 1700000000\n[bundle]\nmembers = [{members}]\n')

    def build(self, scenario, into):
        """The files of a scenario, in into/before and into/run."""
        shutil.rmtree(into, ignore_errors=True)
        for folder, packages in (("before", scenario.before), ("run", scenario.run)):
            (into / folder).mkdir(parents=True)
            for package in packages:
                subprocess.run([self.tpk, "build", self.folder / package, "--key", self.key, "-o",
                                into / folder / f"{package}.tpk"], check=True,
                               stdout=subprocess.DEVNULL)

    def digests(self, name, number):
        """Paths and digests of the files of an installed package; None for one that is not known."""
        for package, files in self.contents.items():
            if name_of(package) == name and NUMBERS[package.rsplit("-", 1)[1]] == number:
                return {path: hashlib.md5(what).hexdigest() for path, what in files.items()}
        return None
