# How much memory the program has resident at its most does not depend on the size of a package,
# however the package comes.
# erase size: 0x40000
# boots: 1
. /checks
# In KiB. The packages differ by 2.75 MiB.
margin=64

# peak_of <package> <argument>...: of the run that installs it.
peak_of() {
  local name=$1
  shift
  peak /tmp/peak installer "$@" >/tmp/said 2>&1
  check "$name is installed" listed "$name" 1.0
  peak=$(cat /tmp/peak)
  echo "$name: $peak KiB"
  ask "$name" uninstall
  installer -q
}
dropped() {
  drop "$1-1.0"
  peak_of "$1"
}
named() {
  peak_of "$1" "/packages/$1-1.0.tpk"
  rm -f /image
}
sent() { peak_of "$1" - <"/packages/$1-1.0.tpk"; }

drop base-1.0
run
for way in dropped named sent; do
  "$way" medium
  medium=$peak
  "$way" large
  check "$way, large takes what medium takes" [ $((peak - medium)) -le $margin ]
done
finish
