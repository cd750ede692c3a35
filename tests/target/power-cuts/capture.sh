# One run of the program, stopped ahead of every system call that writes, so that the host can keep
# what is on the flash. board.memory=enough lets the program move package files to RAM.
. /state
stty -echo
drop before
installer >/tmp/said 2>&1 || cat /tmp/said
rm /flash/PCKGS_CHANGED
drop run
[ "$(word memory)" != enough ] || enough_memory
for name in $(word uninstall); do
  mkdir -p "/ram/pdb/$name"
  echo uninstall >"/ram/pdb/$name/schedule"
done
sync
/stopper /tmp/said installer
status=$?
cat /tmp/said
echo "stop 0 end"
read -r _
exit "$status"
