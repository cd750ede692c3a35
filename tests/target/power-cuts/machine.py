"""The emulated board, with two flash devices: one that the packages are on, one for answers."""

import os
import signal
import subprocess

FLASH_AT = 0x3000000  # in the machine's memory
OTHER_AT = 0x3800000
FLASH_SIZE = OTHER_AT - FLASH_AT
ERASE_SIZE = 0x40000
ANSWER_SIZE = 0x100000
MEMORY_SIZE = 96 << 20
# The node with which JFFS2 marks an erase block that is empty: magic, type, length, checksum.
CLEAN_MARKER = bytes.fromhex("85190320" "0c000000" "b1b01ee4")

_BOOT = """
. scripts/lib/common.sh
. scripts/lib/target.sh
. scripts/lib/board.sh
board=$1 script=$2 packages=$3
shift 3
boot_files=(tests/target/power-cuts/state "$board/stopper")
make_first_root dist/installer-mipsel
boot "$board/flash" "$script" "$packages" "$@"
"""


def make_memory(path):
    """The memory of a machine whose flash is erased, as a boot loader erases one for JFFS2: without
    the marks the file system would write them itself, whenever its thread gets to it."""
    block = CLEAN_MARKER + b"\xff" * (ERASE_SIZE - len(CLEAN_MARKER))
    with path.open("wb") as memory:
        memory.truncate(MEMORY_SIZE)
        memory.seek(FLASH_AT)
        memory.write(block * (FLASH_SIZE // ERASE_SIZE))
        memory.write(b"\xff" * FLASH_SIZE)


class Died(Exception):
    """The machine ended without having said how its boot script did."""


class Machine:
    """One that runs. Its console is read and written line by line."""

    def __init__(self, root, folder, script, packages, *words, limit=3600):
        self.folder = folder
        self.memory = folder / "flash"
        self.console = (folder / "console.log").open("w")
        self.process = subprocess.Popen(
            ["bash", "-euo", "pipefail", "-c", _BOOT, "board", folder, script, packages,
             f"board.erase={ERASE_SIZE:#x}", f"board.flash={FLASH_AT:#x},{FLASH_SIZE:#x}",
             f"board.other={OTHER_AT:#x},{FLASH_SIZE:#x}", *words],
            cwd=root, env={**os.environ, "BOARD_BOOT_LIMIT": str(limit)}, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)

    def lines(self):
        """What the console says, until the machine is off."""
        for line in self.process.stdout:
            text = line.decode(errors="replace").rstrip("\r\n")
            print(text, file=self.console, flush=True)
            yield text

    def say(self, line=""):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def wait_for(self, start):
        """The first line that begins so."""
        for line in self.lines():
            if line.startswith(start):
                return line
        raise Died(f"{self.console.name}: no line {start!r}")

    def flash(self):
        return self._read(FLASH_AT, FLASH_SIZE)

    def put_flash(self, image):
        self._write(FLASH_AT, image)

    def clear_answer(self):
        self._write(OTHER_AT, b"\xff" * ANSWER_SIZE)

    def answer(self):
        text = self._read(OTHER_AT, ANSWER_SIZE).partition(b"@end\n")
        if not text[1]:
            raise Died(f"{self.console.name}: an answer without an end")
        return text[0].decode(errors="replace")

    def close(self):
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGKILL)
        self.process.stdin.close()
        self.process.wait()
        self.console.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def _read(self, at, size):
        with self.memory.open("rb") as memory:
            memory.seek(at)
            return memory.read(size)

    def _write(self, at, data):
        with self.memory.open("r+b") as memory:
            memory.seek(at)
            memory.write(data)


class Images:
    """Flash images, each kept once, in pieces that most of them share."""

    PIECE = 16384

    def __init__(self):
        self.pieces = {}
        self.images = []
        self.numbers = {}

    def add(self, image):
        pieces = tuple(image[at:at + self.PIECE] for at in range(0, len(image), self.PIECE))
        pieces = tuple(self.pieces.setdefault(piece, piece) for piece in pieces)
        number = self.numbers.setdefault(pieces, len(self.images))
        if number == len(self.images):
            self.images.append(pieces)
        return number

    def __getitem__(self, number):
        return b"".join(self.images[number])

    def __len__(self):
        return len(self.images)


def half_way(before, after):
    """What is on the flash when the power goes in the middle of what makes one image the other: the
    first half of the bytes that change is written. None when there is no middle."""
    step = 4096
    changed = [i for at in range(0, len(before), step) if before[at:at + step] != after[at:at + step]
               for i in range(at, at + step) if before[i] != after[i]]
    if len(changed) < 2:
        return None
    image = bytearray(before)
    for i in changed[:len(changed) // 2]:
        image[i] = after[i]
    return bytes(image)
