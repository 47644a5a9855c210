# Runs suites one after another and tells at the end what became of each. Sourced by bash after lib.sh.
# shellcheck shell=bash

suite_rows=()
suites_passed=0
suites_failed=0
suites_skipped=0

# suite NAME COMMAND-LINE FUNCTION...: runs the function in a shell of its own, so that a failure ends only this
# suite. COMMAND-LINE is what a person types to run it again.
suite() {
  local name=$1 again=$2 start=$SECONDS status
  shift 2
  SUITE_NOTE=$(mktemp)
  export SUITE_NOTE
  say "suite $name"
  # Not in a condition: there the shell would not stop the suite at its first failure.
  set +e
  (
    set -e
    "$@"
  )
  status=$?
  set -e
  case $status in
    0) suite_row passed "$name" $((SECONDS - start)) "" ;;
    77) suite_row skipped "$name" $((SECONDS - start)) "$(cat "$SUITE_NOTE"); to run it: $again" ;;
    *) suite_row failed "$name" $((SECONDS - start)) "status $status; to run it again: $again" ;;
  esac
  rm -f "$SUITE_NOTE"
}

# suite_row RESULT NAME SECONDS TEXT
suite_row() {
  local row
  case $1 in
    passed) suites_passed=$((suites_passed + 1)) ;;
    failed) suites_failed=$((suites_failed + 1)) ;;
    skipped) suites_skipped=$((suites_skipped + 1)) ;;
  esac
  printf -v row '%-8s %-22s %5d s%s' "$1" "$2" "$3" "${4:+  $4}"
  suite_rows+=("$row")
  echo "$row"
}

# The table and the closing line; fails when a suite failed.
suites_summary() {
  local skipped=
  say "suites"
  printf '%s\n' "${suite_rows[@]}"
  ((!suites_skipped)) || skipped=", $suites_skipped skipped"
  echo "$suites_passed passed, $suites_failed failed$skipped"
  ((!suites_failed && suites_passed))
}
