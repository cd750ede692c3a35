# Large erase blocks: a system that is too old for them is refused, the first that knows them is not.
# erase size: 0x40000
# boots: 1
. /checks
# Without any package the program would wait for ever.
drop base-1.0
run
check "a package is installed" listed base 1.0
drop system-3.20rc1
run
check "the refusal is told" \
  said "omitting package system-3.20rc1: it does not support current file system"
check_not "the old system is not installed" known system
check "its package stays" [ -e /flash/rw/pckg/system-3.20rc1.tpk ]
rm /flash/rw/pckg/*
drop system-3.20rc2
run
check "the system that knows large blocks is installed" listed system 3.20rc2
finish
