# Where the board's files are, for scripts; sourced behind common.sh.
#
#   $target/sysroot   the board's libraries, their headers, and its shell: Debian packages, unpacked
#   $target/kernel    the kernel of the emulated board and its modules
#   $target/musl      the C library, C++ library and zlib of the self-contained program
#
# Nothing of it is installed on the machine, and no foreign architecture is made known to it.
target=${INSTALLER_TARGET_DIR:-$PWD/build/target}
export INSTALLER_TARGET_DIR=$target
sysroot=$target/sysroot
kernel=$target/kernel
musl=$target/musl
cross=mipsel-linux-gnu

# say_skipped <what> <reason>
say_skipped() { printf '== %s\n   SKIPPED: %s\n' "$1" "$2"; }

# What a loader does not read stays here.
strip_program() {
  "$cross-strip" -s -R .comment -R .pdr -R .gnu.attributes -R .mdebug.abi32 -o "$2" "$1"
  scripts/lib/drop-section-table "$2"
}
