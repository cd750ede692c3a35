# Smaller erase blocks: the same system is taken.
# erase size: 0x20000
# boots: 1
. /checks
drop system-3.20rc1
run
check "the old system is installed" listed system 3.20rc1
check_not "nothing is refused" said "it does not support"
check "its file is there" grep -qx "system 3.20rc1" /flash/opt/system
finish
