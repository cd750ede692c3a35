# A router's packages over three starts: installed, upgraded, disabled, enabled, uninstalled, cleaned
# up, files without an owner collected; the next start finds all of it on the flash.
# erase size: 0x40000
# boots: 3
. /checks
first() {
  drop system-3.22 alpha-1.0 marked-1.0 base-1.0
  run
  check "system" listed system 3.22
  check "alpha" listed alpha 1.0
  check "marked" listed marked 1.0
  check "the file of alpha" grep -qx "alpha 1.0" /flash/opt/alpha
  check "the install script ran with the system's shell" [ -s /flash/opt/marked.script ]
  check "the change is marked" [ -e /flash/PCKGS_CHANGED ]
  check "nothing stays in the drop folder" [ -z "$(ls /flash/rw/pckg)" ]
}

second() {
  check "the first start is remembered" listed alpha 1.0
  drop alpha-1.1
  run
  check "alpha is upgraded" listed alpha 1.1
  check "its file too" grep -qx "alpha 1.1" /flash/opt/alpha

  ask marked disable
  run
  check "marked is disabled" listed marked 1.0 X
  check "its record says so" [ -e /flash/var/pdb/marked/disabled ]
  check "its file stays" grep -qx "marked 1.0" /flash/opt/marked
  ask marked enable
  run
  check "marked is enabled" listed marked 1.0
  check_not "its record says so" [ -e /flash/var/pdb/marked/disabled ]

  ask alpha uninstall
  run
  check_not "alpha is gone" known alpha
  check_not "its file is gone" [ -e /flash/opt/alpha ]
  check_not "its record is gone" [ -e /flash/var/pdb/alpha ]

  check "base is there before the clean-up" listed base 1.0
  run --cleanup
  check_not "base, which asks for no system, is gone" known base
  check "marked stays" listed marked 1.0

  # The folder under the name that the packages use.
  ln -s flash/opt /opt
  echo stray >/flash/opt/stray
  run --filegc /opt
  check_not "a file without an owner is collected" [ -e /flash/opt/stray ]
  check "one with an owner stays" grep -qx "marked 1.0" /flash/opt/marked
}

third() {
  check "system after all of it" listed system 3.22
  check "marked after all of it" listed marked 1.0
  check_not "alpha stays away" known alpha
  check_not "base stays away" known base
  check "marked's file" grep -qx "marked 1.0" /flash/opt/marked
}

case $BOOT in
  1) first ;;
  2) second ;;
  3) third ;;
esac
finish
