# Runs test programs, adds up what they report, and prints one closing line. Sourced by ./test.

passed=0 failed=0 skipped=0

# Counts of GoogleTest's own summary: count_of WORD < output
count_of() {
  sed -n "s/^\[ *$1 *\] \([0-9]*\) tests\{0,1\}[.,].*/\1/p" | head -1
}

# Wine's server ends with the last program, and now and then hangs up on one that is only just being started: nothing of
# it has run then.
never_began() {
  grep -q '^wine client error' "$1" && ! grep -q '^\[==========\]' "$1"
}

# run_test_program PRESET PROGRAM
run_test_program() {
  local name output status=0 p f s
  name=$(basename "$2" .exe)
  output=$root/build/$1/tests/$name.log
  if [ "$1" = windows ]; then
    run_windows "$2" >"$output" 2>&1 </dev/null || status=$?
    if never_began "$output"; then
      status=0
      run_windows "$2" >"$output" 2>&1 </dev/null || status=$?
    fi
  else
    "$2" >"$output" 2>&1 </dev/null || status=$?
  fi
  sed -i 's/\r$//' "$output"
  p=$(count_of PASSED <"$output") f=$(count_of FAILED <"$output") s=$(count_of SKIPPED <"$output")
  # A program that ends badly without saying so has failed all the same.
  if [ "$status" != 0 ] && [ "${f:-0}" = 0 ]; then f=1; fi
  if [ "$status" = 0 ] && [ "${p:-0}" = 0 ] && [ "${s:-0}" = 0 ]; then f=1; fi
  passed=$((passed + ${p:-0})) failed=$((failed + ${f:-0})) skipped=$((skipped + ${s:-0}))
  show_state
  printf '  %-10s %-36s %4d passed' "$1" "$name" "${p:-0}"
  [ "${f:-0}" = 0 ] || printf ', %d failed' "$f"
  [ "${s:-0}" = 0 ] || printf ', %d skipped' "$s"
  printf '\n'
  [ "${s:-0}" = 0 ] || sed -n '/: Skipped$/{n;s/^/             skipped: /p}' "$output" | sort -u
  if [ "${f:-0}" != 0 ]; then sed 's/^/    | /' "$output" | tail -60; fi
}

# The HTTP server that tests of symbol stores ask: a folder, and three ports that it chooses.
start_http_server() {
  local folder=$root/build/http tries
  rm -rf "$folder" && mkdir -p "$folder"
  python3 "$root/tests/http_store/server.py" "$folder" >"$folder/log" 2>&1 </dev/null &
  http_server=$!
  for tries in {1..100}; do [ ! -f "$folder/ports" ] || break; sleep 0.1; done
  [ -f "$folder/ports" ] || die "the HTTP server of the tests does not start; see build/http/log"
  export QV_HTTP_FOLDER=Z:$folder
}

run_test_programs() {
  local program number=0 all http_server=
  step "Testing ($1)"
  # Wine is prepared before the first program, so that its start is nobody's time.
  if [ "$1" = windows ]; then
    run_windows cmd.exe /c exit
    register_classic_reader
    start_http_server
  fi
  all=$(grep -c . "$root/build/$1/tests.txt")
  while read -r program; do
    [ -n "$program" ] || continue
    number=$((number + 1))
    show_state "$number of $all  $(basename "$program")"
    run_test_program "$1" "$program"
  done <"$root/build/$1/tests.txt"
  [ -z "$http_server" ] || kill "$http_server" || true
}

check() {
  if [ "$2" = 0 ]; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
  printf '  %-47s %s\n' "$1" "$([ "$2" = 0 ] && echo passed || echo FAILED)"
}

check_format() {
  local status=0
  step "Checking the format of the sources"
  (cd "$root" && find . -path ./build -prune -o \( -name '*.cpp' -o -name '*.h' \) -print0 |
    xargs -0 clang-format --dry-run --Werror) || status=$?
  check clang-format $status
}

# The fixtures compiled afresh and held against an independent reader, where the .NET SDK is there to do it.
check_fixtures() {
  local status=0
  step "Checking fresh fixtures"
  if ! dotnet --version >/dev/null 2>&1; then
    echo "  skipped: the .NET SDK is not installed, so no fixture is compiled afresh"
    skipped=$((skipped + 1))
    return
  fi
  "$root/tests/fixtures/check" || status=$?
  check "fresh fixtures" $status
}

report() {
  printf '%d passed, %d failed, %d skipped\n' "$passed" "$failed" "$skipped"
  [ "$failed" = 0 ]
}
