#!/usr/bin/env bash
# Installs what the build needs on Debian 12 and builds Boost for the cross compiler. Sourced by run and test;
# every step is skipped when its result is already there, so a second call costs a fraction of a second.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
deps=$root/build/deps
boost=boost1.81
boost_libraries="program_options;filesystem;iostreams;json"
boost_headers=(algorithm foreach multi_index) # without the libraries that they could serialize with

packages_common=(cmake ninja-build make g++ g++-mingw-w64-x86-64-posix libz-mingw-w64-dev wine wine64 ca-certificates xz-utils dpkg-dev zip)
packages_test=(googletest python3 openssl zlib1g-dev libssl-dev clang-format clang-tidy
  lib${boost/boost/boost-program-options}-dev lib${boost/boost/boost-filesystem}-dev
  lib${boost/boost/boost-iostreams}-dev lib${boost/boost/boost-json}-dev)
packages_clang=(clang)

step() { if [ -t 1 ]; then printf '\033[1m==>\033[0m %s\n' "$*"; else printf '==> %s\n' "$*"; fi; }
die() { printf 'error: %s\n' "$*" >&2; exit 1; }

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

is_installed() {
  dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'ok installed'
}

# Passes the output of a long step on to its log and, on a terminal, shows how far it is and what it is at: the steps that
# a build counts itself, and the packages that apt unpacks and then sets up.
log_and_show() {
  local line what done=0 all=0
  if [ ! -t 1 ]; then
    cat >>"$1"
    return
  fi
  while IFS= read -r line; do
    printf '%s\n' "$line" >&3
    if [[ $line =~ ^\[([0-9]+)/([0-9]+)[^]]*\]\ (.*) ]]; then
      done=${BASH_REMATCH[1]} all=${BASH_REMATCH[2]} what=${BASH_REMATCH[3]#Building * object }
      what=${what/CMakeFiles\/*.dir\//}
    elif [[ $line =~ ,\ ([0-9]+)\ newly\ installed ]]; then
      all=$((2 * BASH_REMATCH[1]))
    elif [[ $line =~ ^(Unpacking|Setting\ up)\ [^\ ]+ ]]; then
      done=$((done + 1)) what=${BASH_REMATCH[0]}
    else
      continue
    fi
    show_state "$done of $all  ${what-}"
  done 3>>"$1"
  show_state
}

# Replaces what the last line of a terminal says; nothing elsewhere.
show_state() {
  [ -t 1 ] || return 0
  local width=$(($(tput cols 2>/dev/null || echo 80) - 6)) text=${1-}
  printf '\r\033[K'
  [ -z "$text" ] || printf '    %s' "${text:0:width}"
}

install_packages() {
  local missing=() package
  for package in "$@"; do is_installed "$package" || missing+=("$package"); done
  [ ${#missing[@]} -gt 0 ] || return 0
  step "Installing ${missing[*]}"
  mkdir -p "$deps"
  : >"$deps/apt.log"
  {
    as_root apt-get update &&
      as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"
  } 2>&1 | log_and_show "$deps/apt.log" || { tail -20 "$deps/apt.log" >&2; die "apt-get failed; the whole output is in build/deps/apt.log"; }
}

# Fetches the source package without touching the machine's own source list: the same suites, asked for sources.
fetch_boost_source() {
  local lists=$deps/apt
  mkdir -p "$lists/sources.d" "$lists/lists/partial" "$lists/source"
  cat /etc/apt/sources.list.d/*.sources 2>/dev/null | sed 's/^Types:.*/Types: deb-src/' >"$lists/sources.d/deb822.sources"
  grep -hE '^deb ' /etc/apt/sources.list /etc/apt/sources.list.d/*.list 2>/dev/null | sed 's/^deb /deb-src /' \
    >"$lists/sources.d/one-line.list"
  local options=(-o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$lists/sources.d"
    -o Dir::State::lists="$lists/lists" -o Dir::Cache="$lists" -o APT::Sandbox::User=root)
  apt-get "${options[@]}" update && (cd "$lists/source" && apt-get "${options[@]}" source --download-only "$boost")
}

# No package carries Boost for the cross compiler, so it is built from Debian's own source with Boost's CMake files.
build_boost_for_windows() {
  local prefix=$deps/windows mark=$deps/windows/.complete recipe headers
  recipe="$boost $boost_libraries ${boost_headers[*]} $(declare -f build_boost_for_windows | cksum)"
  [ "$(cat "$mark" 2>/dev/null)" = "$recipe" ] && return 0
  step "Fetching the source of $boost"
  mkdir -p "$deps"
  fetch_boost_source >"$deps/boost.log" 2>&1 || { tail -20 "$deps/boost.log" >&2; die "cannot fetch the source of $boost"; }
  rm -rf "$deps/boost" && mkdir -p "$deps/boost"
  tar -xf "$deps"/apt/source/${boost}_*.orig.tar.* -C "$deps/boost" --strip-components=1 \
    --exclude='*/doc' --exclude='*/test' --exclude='*/example'
  step "Building Boost for Windows"
  {
    cmake -S "$deps/boost" -B "$deps/boost-build" -G Ninja -DCMAKE_BUILD_TYPE=MinSizeRel \
      -DCMAKE_TOOLCHAIN_FILE="$root/cmake/windows-toolchain.cmake" -DCMAKE_INSTALL_PREFIX="$prefix" \
      -DBOOST_INCLUDE_LIBRARIES="$boost_libraries" -DBUILD_SHARED_LIBS=OFF \
      -DBOOST_IOSTREAMS_ENABLE_BZIP2=OFF -DBOOST_IOSTREAMS_ENABLE_ZSTD=OFF -DBOOST_IOSTREAMS_ENABLE_LZMA=OFF \
      "-DCMAKE_CXX_FLAGS=-ffile-prefix-map=$deps/=" &&
      cmake --build "$deps/boost-build" && cmake --install "$deps/boost-build" &&
      for headers in "${boost_headers[@]}"; do cp -r "$deps/boost/libs/$headers/include/boost" "$prefix"/include/boost-*/; done &&
      cp "$deps/boost/LICENSE_1_0.txt" "$prefix"
  } 2>&1 | log_and_show "$deps/boost.log" || { tail -20 "$deps/boost.log" >&2; die "Boost did not build; see build/deps/boost.log"; }
  rm -rf "$deps/boost" "$deps/boost-build" "$deps/apt"
  echo "$recipe" >"$mark"
}

set_up() {
  install_packages "${packages_common[@]}" "${packages_test[@]}"
  build_boost_for_windows
}

# build PRESET [TARGET ...]
build() {
  local preset=$1 log=$root/build/$1.log targets=()
  shift
  [ $# -eq 0 ] || targets=(--target "$@")
  if [ ! -f "$root/build/$preset/build.ninja" ]; then
    (cd "$root" && cmake --preset "$preset") >"$log" 2>&1 || { tail -20 "$log" >&2; die "cannot configure $preset; see build/$preset.log"; }
  fi
  step "Building ($preset)"
  : >"$log"
  (cd "$root" && cmake --build --preset "$preset" "${targets[@]}") 2>&1 | log_and_show "$log" ||
    { grep -E 'error|FAILED|warning' "$log" | head -30 >&2; die "the build failed; see build/$preset.log"; }
}

# Programs for Windows run in a Wine prefix of the build, without Mono and without its host library of the .NET runtime.
wine=(env "WINEPREFIX=$root/build/wine" WINEDEBUG=-all "WINEDLLOVERRIDES=mscoree=;mshtml=")
run_windows() {
  local prefix=$root/build/wine
  if [ ! -f "$prefix/.ready" ]; then
    step "Preparing Wine" >&2
    mkdir -p "$prefix"
    "${wine[@]}" wineboot --init >"$root/build/wine.log" 2>&1 || { tail -5 "$root/build/wine.log" >&2; die "Wine does not start; see build/wine.log"; }
    touch "$prefix/.ready"
  fi
  "${wine[@]}" wine "$@"
}

# Wine has no reader of classic PDB files. The build's own serves in its prefix, as on any host without one.
register_classic_reader() {
  local library=$root/build/windows/bin/qv_symbols.dll
  grep -qsF "$(windows_path "$library" | sed 's/\\/\\\\/g')" "$root/build/wine/system.reg" && return 0
  step "Registering the reader of classic PDB files" >&2
  run_windows regsvr32.exe /s "$(windows_path "$library")" >>"$root/build/wine.log" 2>&1 ||
    die "qv_symbols.dll does not register; see build/wine.log"
}

windows_path() {
  local path=Z:$1
  printf '%s' "${path//\//\\}"
}
