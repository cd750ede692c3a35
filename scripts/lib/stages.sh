# Stages of a check: every one runs, also behind one that failed. Sourced behind common.sh; what a
# stage said is kept in build/logs/.
. scripts/lib/progress.sh

logs=build/logs
if ! mkdir -p "$logs" || [ ! -w "$logs" ]; then
  echo "scripts/${0##*/}: cannot write to $PWD/build" >&2
  exit 1
fi

passed=()
failed=()
skipped=()

# usual <stage>: the seconds that it takes on two processors, from a fresh clone.
usual() { awk -v stage="$1" '$1 == stage { print $2 }' scripts/lib/usual-times; }

# stage <name> <command>...: runs it with its output in the log.
stage() {
  local name=$1 log="$logs/$1.log" start=$SECONDS
  shift
  echo "== $name"
  if live "$name" "$(usual "$name")" "$log" "$@"; then
    passed+=("$name")
    echo "   passed, $((SECONDS - start)) s"
  else
    failed+=("$name")
    echo "   FAILED, $((SECONDS - start)) s; the end of $log:"
    tail -n 40 "$log"
    return 1
  fi
}

# skip <name> <reason>
skip() {
  skipped+=("$1 ($2)")
  echo "== $1"
  echo "   SKIPPED: $2"
}

# run_tests <preset> [<option of ctest>...]: ctest's closing lines, how many tests its processes ran,
# and why tests were skipped.
run_tests() {
  local preset=$1 log="$logs/$1-tests.log" said="build/$1/Testing/Temporary/LastTest.log" reasons count
  shift
  stage "$preset-tests" ctest --preset "$preset" "$@"
  sed -n '/tests passed, .* tests failed out of/,$p' "$log" | sed 's/^/   /'
  awk '/^\[=+\] [0-9]+ tests? from .* ran\./ { count += $2 }
    END { print "   GoogleTest: " count + 0 " tests ran" }' "$said"
  reasons=$(awk '/: Skipped$/ { getline; print }' "$said" | sort | uniq -c)
  if [ -n "$reasons" ]; then
    count=$(awk '{ n += $1 } END { print n }' <<<"$reasons")
    skipped+=("$count tests of $preset")
    echo "   SKIPPED tests, by reason:"
    sed 's/^/   /' <<<"$reasons"
  fi
}

build_and_test() {
  if stage "$1-build" configure_and_build "$1"; then
    run_tests "$1"
  else
    skip "$1-tests" "nothing to run"
  fi
}

summary() {
  local line="scripts/${0##*/}: ${#passed[@]} stages passed"
  line+=", ${#failed[@]} failed${failed[*]:+ (${failed[*]})}"
  if [ ${#skipped[@]} -gt 0 ]; then
    line+=", skipped: $(printf '%s; ' "${skipped[@]}" | sed 's/; $//')"
  else
    line+=", nothing skipped"
  fi
  echo "$line, $SECONDS s"
}
