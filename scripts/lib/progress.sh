# Shows that a long command goes on. Sourced.

# How far the command of this log is: what ninja ("[12/90] ...") or ctest ("12/90 Test ...") counted
# last, otherwise the last line.
how_far() {
  local counted
  counted=$(tail -n 1000 "$1" | sed -nE 's,^\[? *([0-9]+)/([1-9][0-9]*)(\]| Test).*,\1 \2,p' |
    tail -n 1)
  if [ -n "$counted" ]; then
    echo "$((100 * ${counted% *} / ${counted#* }))%, ${counted% *} of ${counted#* }"
  else
    tail -n 1 "$1" | tr -cd '[:print:]' | cut -c 1-30
  fi
}

on_terminal() { [ -t 1 ] && [ "${TERM:-dumb}" != dumb ]; }

# show_progress <what> <usual seconds> <log>: until it is killed, or the script that called it. Empty
# seconds stand for a time that nobody can know, of a download for instance.
show_progress() {
  local start=$SECONDS every=30 next=30 begin='' end='\n' passed usual=${2:+ (usually $2 s)}
  if on_terminal; then every=1 next=1 begin='\r\033[K' end=''; fi
  while sleep 1 >/dev/null 2>&1 && kill -0 $$ 2>/dev/null; do
    passed=$((SECONDS - start))
    [ "$passed" -ge "$next" ] || continue
    next=$((passed + every))
    printf '%b   %s: %s s%s: %s%b' "$begin" "$1" "$passed" "$usual" "$(how_far "$3")" "$end"
  done
}

# begin_live <what> <usual seconds> <log>: from here to end_live one line on a terminal, and elsewhere
# one every 30 seconds, says how far the command with this log is. It is the display that runs in the
# background: Ctrl-C has to end the command.
begin_live() {
  : >"$3"
  show_progress "$@" &
  display=$!
}

end_live() {
  kill "$display" 2>/dev/null || :
  wait "$display" 2>/dev/null || :
  ! on_terminal || printf '\r\033[K'
}

# live <what> <usual seconds> <log> <command>...: runs the command with what it says in the log.
live() {
  local what=$1 usual=$2 log=$3 status=0 display
  shift 3
  begin_live "$what" "$usual" "$log"
  "$@" >"$log" 2>&1 </dev/null || status=$?
  end_live
  return "$status"
}
