# An emulated board; sourced behind common.sh and target.sh.
#
# The flash is a piece of the machine's memory that its kernel is told not to use. The memory is a
# file, so the flash keeps what was written when the power goes. In MiB, 256 together at most:
ram_before_flash=48
flash_size=16
ram_behind_flash=32
memory_size() { echo "$((ram_before_flash + flash_size + ram_behind_flash))"; }

board=$PWD/build/board
# What the boot scripts source or start, into the first folder.
boot_files=(tests/target/board/checks)
boot_limit=${BOARD_BOOT_LIMIT:-120}

# Files of the kernel's first root: a shell, commands, the modules of the flash, the program with
# the libraries that it asks for.
# make_first_root <program>
make_first_root() {
  local root=$board/root command
  rm -rf "$root"
  mkdir -p "$root"/{bin,dev,flash,lib/modules,packages,proc,ram,sys,tmp}
  ln -s flash/rw "$root/rw"
  cp "$sysroot/bin/bash-static" "$root/bin/bash"
  cp "$sysroot/bin/busybox" "$root/bin/busybox"
  for command in cat cmp cp cut dd df du find grep head insmod ln ls md5sum mkdir mknod mount mv poweroff \
    rm sed sh sleep sort stat stty sync tail timeout touch tr umount wc; do
    ln -s busybox "$root/bin/$command"
  done
  add_modules "$root/lib/modules"
  cp "$1" "$root/bin/installer"
  add_libraries "$root/lib" "$1"
  cp scripts/lib/board-init "$root/init"
  chmod 755 "$root/init"
  make_peak "$root/bin/peak"
  pack "$root" "$board/root.cpio.gz"
}

make_peak() {
  "$cross-gcc" -specs="$musl/musl.specs" -static -no-pie -Os -s -Wall -Wextra -Werror -o "$1" \
    tests/target/peak.c
}

# What the flash needs and the kernel has not built in; neither module needs another one.
add_modules() {
  local name
  for name in jffs2 phram; do
    "$cross-strip" -g -o "$1/$name.ko" "$(find "$kernel/lib/modules" -name "$name.ko")"
  done
}

# add_libraries <folder> <file>: what a dynamic file needs, and what that needs.
add_libraries() {
  local into=$1 name found
  for name in $("$cross-readelf" -d -l "$2" |
    sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p; s,.*interpreter: /lib/\(.*\)\],\1,p'); do
    [ ! -e "$into/$name" ] || continue
    found=$(find -L "$sysroot/lib" "$sysroot/usr/lib/mipsel-linux-gnu" -maxdepth 2 -name "$name" |
      head -n 1)
    cp -L "$found" "$into/$name"
    add_libraries "$into" "$found"
  done
}

# pack <folder> <archive>
pack() {
  (cd "$1" && find . -mindepth 1 | LC_ALL=C sort | cpio -o -H newc --quiet -R 0:0 | gzip -1n) >"$2"
}

# new_flash <file>: an erased one.
new_flash() {
  rm -f "$1"
  truncate -s "$(memory_size)M" "$1"
  head -c "${flash_size}M" /dev/zero | tr '\0' '\377' |
    dd of="$1" bs=1M "seek=$ram_before_flash" conv=notrunc status=none
}

# boot <flash file> <boot script> <folder of packages> <word of the kernel's command line>...
#
# The console is standard output and standard input. Never takes longer than the limit: a kernel
# that panics does not end its emulator.
boot() {
  local flash=$1 script=$2 packages=$3 work=$board/work memory
  shift 3
  memory=$(memory_size)M
  rm -rf "$work"
  mkdir -p "$work"
  cp "$script" "$work/boot-script"
  cp "${boot_files[@]}" "$work"
  cp -r "$packages" "$work/packages"
  pack "$work" "$board/work.cpio.gz"
  cat "$board/root.cpio.gz" "$board/work.cpio.gz" >"$board/initrd"
  timeout -s KILL "$boot_limit" qemu-system-mipsel -M malta,memory-backend=ram -m "$memory" \
    -object "memory-backend-file,id=ram,size=$memory,mem-path=$flash,share=on" \
    -nographic -vga none -monitor none -serial stdio -no-reboot -net none \
    -kernel "$(echo "$kernel"/boot/vmlinu[xz]-*)" -initrd "$board/initrd" \
    -append "console=ttyS0 quiet nokaslr panic=-1 mem=${ram_before_flash}M@0 $(rest_of_memory) $*"
}

rest_of_memory() {
  echo "mem=${ram_behind_flash}M@$((ram_before_flash + flash_size))M" \
    "board.flash=${ram_before_flash}Mi,${flash_size}Mi"
}

# ended_well <log>: the boot script came to its end, and with status 0.
ended_well() { tr -d '\r' <"$1" | grep -qx 'board: status 0'; }
