# Runs test programs, adds up what they report, and prints one closing line. Sourced by ./test.

passed=0 failed=0 skipped=0

# Counts of GoogleTest's own summary: count_of WORD < output
count_of() {
  sed -n "s/^\[ *$1 *\] \([0-9]*\) tests\{0,1\}[.,].*/\1/p" | head -1
}

# run_test_program PRESET PROGRAM
run_test_program() {
  local name output status=0 p f s
  name=$(basename "$2" .exe)
  output=$root/build/$1/tests/$name.log
  if [ "$1" = windows ]; then
    run_windows "$2" >"$output" 2>&1 </dev/null || status=$?
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
  [ "${f:-0}" = 0 ] || { sed 's/^/    | /' "$output" | tail -60; echo "    ended with exit code $status"; }
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

# Wine's own server would end with each program, and start for the next one, which it then now and then hangs up on.
start_wine_server() {
  run_windows cmd.exe /c exit
  timeout 60 "${wine[@]}" wineserver -w || true
  "${wine[@]}" wineserver -p >/dev/null 2>&1 </dev/null || true
}

end_servers() {
  [ -z "$http_server" ] || kill "$http_server" || true
  http_server=
  "${wine[@]}" wineserver -k >/dev/null 2>&1 || true
}

http_server=
run_test_programs() {
  local program number=0 all
  step "Testing ($1)"
  if [ "$1" = windows ]; then
    trap end_servers EXIT
    start_wine_server
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
  [ "$1" != windows ] || end_servers
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
