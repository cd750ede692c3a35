# A package of 100 KiB is sent over the console.
# erase size: 0x40000
# boots: 1
# console: kept-1.0.tpk
. /checks
drop system-3.22
run
size=$(wc -c </packages/kept-1.0.tpk)
echo "board: send $size bytes"
settings=$(stty -g)
stty raw -echo
head -c "$size" | installer - >/tmp/said 2>&1
status=$?
stty "$settings"
cat /tmp/said
check "the status is good" [ "$status" = 0 ]
check "what came is installed" listed kept 1.0
check "its file" [ "$(wc -c </flash/opt/kept)" = 102400 ]
check "its image is what was sent" cmp /flash/var/pdb/kept/image /packages/kept-1.0.tpk
check_not "the image under its first name is gone" [ -e /flash/var/pdb/image ]
finish
