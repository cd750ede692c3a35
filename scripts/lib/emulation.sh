# Programs of the board run like the machine's own, in any root: the kernel starts the emulator for
# them. Sourced behind target.sh. Needs root.
binfmt=/proc/sys/fs/binfmt_misc
binfmt_mounted=false
binfmt_registered=false

# Fails with the reason in emulation_refused when the machine does not allow it.
start_emulation() {
  if [ ! -e "$binfmt/register" ]; then
    mount -t binfmt_misc binfmt_misc "$binfmt" 2>/dev/null || {
      emulation_refused="the kernel's binfmt_misc cannot be mounted"
      return 1
    }
    binfmt_mounted=true
  fi
  if [ ! -e "$binfmt/qemu-mipsel" ]; then
    # With the flag F the emulator is opened now, and is there whatever the root is.
    if ! cat /usr/lib/binfmt.d/qemu-mipsel.conf >"$binfmt/register" 2>/dev/null; then
      emulation_refused="the emulator cannot be registered with the kernel"
      return 1
    fi
    binfmt_registered=true
  fi
}

# Leaves the machine as it was.
stop_emulation() {
  if $binfmt_registered; then echo -1 >"$binfmt/qemu-mipsel"; fi
  if $binfmt_mounted; then umount "$binfmt"; fi
  binfmt_registered=false
  binfmt_mounted=false
}
