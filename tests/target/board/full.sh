# A full flash: the installation is undone, and succeeds when there is space.
# erase size: 0x40000
# boots: 1
. /checks
drop system-3.22 alpha-1.0
run
check "system" listed system 3.22
# Random bytes: the flash compresses.
head -c 9m /dev/urandom >/flash/ballast
df /flash
# The log is written by every run.
names() { (cd /flash && find . | grep -v postlog | sort); }
before=$(names)
run /packages/large-1.0.tpk
df /flash
check "the reason is told" said "installation of large-1.0 failed: disk is too small"
check "the status says so" [ "$status" != 0 ]
check_not "large is not installed" known large
check_not "none of it is left" [ -e /flash/opt/large ]
check "alpha is as it was" grep -qx "alpha 1.0" /flash/opt/alpha
check "no other file came or went" [ "$(names)" = "$before" ]
rm /flash/ballast
run /packages/large-1.0.tpk
check "with space it is installed" listed large 1.0
check "whole" [ "$(wc -c </flash/opt/large)" = 3145728 ]
finish
