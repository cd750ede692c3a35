# Package files are moved to RAM when there is enough of it, and installed from the flash otherwise.
# The install script of "marked" lists the drop folder while it runs.
# erase size: 0x40000
# boots: 1
. /checks
# Two changes to what the kernel says: the one that the program is for has no MemAvailable, and a
# router's first root is not in RAM, which counts as Cached here.
meminfo() {
  local name value root
  root=$(du -skx / | cut -f 1)
  while read -r name value _; do
    case $name in
      MemAvailable:) continue ;;
      Cached:) value=$((value > root ? value - root : 0)) ;;
    esac
    echo "$name $value kB"
  done </proc/meminfo >/tmp/meminfo
  mount -o bind /tmp/meminfo /proc/meminfo
  head -n 4 /proc/meminfo
}
from_flash() { grep -q marked-1.0 /flash/opt/marked.script; }
again() {
  rm -f /flash/opt/marked.script
  ask marked uninstall
  run
  drop marked-1.0
  run
}

drop system-3.22 marked-1.0
run
check "with another layout of meminfo it is installed" listed marked 1.0
check "from the flash" from_flash

meminfo
again
check "with enough RAM it is installed" listed marked 1.0
check_not "from RAM" from_flash

# All but 5 MiB, held until the pipe is read, which is never.
umount /proc/meminfo
echo 3 >/proc/sys/vm/drop_caches
free=$(sed -n 's/^MemFree: *\([0-9]*\) .*/\1/p' /proc/meminfo)
dd if=/dev/zero "bs=$((free - 5120))k" count=1 2>/dev/null | sleep 1000 &
sleep 2
meminfo
again
check "with scarce RAM it is installed" listed marked 1.0
check "from the flash, again" from_flash
check "nothing is left in RAM" [ -z "$(find /ram -name '*.tpk')" ]
finish
