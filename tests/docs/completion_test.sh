#!/bin/bash
# completion_test.sh <completion>: completes command lines in a folder of its own and compares the
# words that come of it.
set -u
. "$1"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
mkdir -p build hello/root 'two words'
touch hello/package.toml hello/notes.txt hello-1.0.tpk old.mpk notes.txt other.toml \
  router.tar.gz 'two words.tpk'
failures=0

# expect <words of the line> <completed words, sorted>; the last word of the line is completed.
expect() {
  local found
  read -ra COMP_WORDS <<<"$1"
  [ "${1% }" = "$1" ] || COMP_WORDS+=('')
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMPREPLY=()
  _tpk
  found=$(printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort | paste -sd ' ')
  [ "$found" = "$2" ] && return
  echo "$1: expected \"$2\", found \"$found\""
  failures=$((failures + 1))
}

expect 'tpk bu' 'build'
expect 'tpk l' 'lint list'
expect 'tpk nothing' ''
expect 'tpk --v' '--version'
expect 'tpk product n' 'new'
# A folder of a command's name is no command.
expect 'tpk build b' 'build'

# Options, and what their values are.
expect 'tpk build --k' '--key'
expect 'tpk build --key h' 'hello'
expect 'tpk build hello --key h' 'hello'
expect 'tpk build -o h' 'hello hello-1.0.tpk'
expect 'tpk lint --flash ' ''
expect 'tpk extract hello-1.0.tpk -C h' 'hello'
expect 'tpk product new --h' '--help'
expect 'tpk try --router ' 'build hello router.tar.gz two words'
expect 'tpk try --keep h' 'hello'
expect 'tpk try --installer n' 'notes.txt'
expect 'tpk try --router hello h' 'hello hello-1.0.tpk'

# Files by what the command reads, and folders.
expect 'tpk verify ' 'build hello hello-1.0.tpk old.mpk two words two words.tpk'
expect 'tpk verify old.mpk h' 'hello hello-1.0.tpk'
expect 'tpk build ' 'build hello other.toml two words'
expect 'tpk build hello/' 'hello/package.toml hello/root'
expect 'tpk lint h' 'hello hello-1.0.tpk'
expect 'tpk lint hello/p' 'hello/package.toml'
expect 'tpk product new ' 'build hello two words'
expect 'tpk extract -C h' 'hello'
expect 'tpk diff old.mpk h' 'hello hello-1.0.tpk'
expect 'tpk product add-digest ' 'build hello hello-1.0.tpk old.mpk two words two words.tpk'

[ "$failures" = 0 ]
