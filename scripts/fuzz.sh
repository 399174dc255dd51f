#!/usr/bin/env bash
# libFuzzer targets for the readers of what a server or a file sends, built
# with clang, AddressSanitizer and UndefinedBehaviorSanitizer.
#
#   bash scripts/fuzz.sh build                  build every target
#   bash scripts/fuzz.sh smoke [target ...]     each target over its seeds, then briefly fuzzed
#   bash scripts/fuzz.sh run <target> <seconds> one long run with a corpus that grows in the build folder
#
# Targets live in fuzz/, their seeds in fuzz/corpus/<target>/ (never written
# to). A crash leaves its input as <build>/artifacts/<target>/crash-* and
# fails the command.
# Environment: ZRV_FUZZ_BUILD_DIR (default build-fuzz/), ZRV_FUZZ_SECONDS
# (length of each smoke run, default 15), ZRV_FUZZ_JOBS (build jobs, default nproc).
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
build=${ZRV_FUZZ_BUILD_DIR:-$top/build-fuzz}
seconds=${ZRV_FUZZ_SECONDS:-15}
targets=(fuzz_records fuzz_reply_headers fuzz_s3_xml fuzz_webdav_reply fuzz_zrm_import
  fuzz_status_version)
# Inputs as large as a long listing; a reader that takes seconds on one is a finding too.
fuzz_flags=(-max_len=65536 -timeout=10 -rss_limit_mb=2048 -print_final_stats=1)
# Ours come last and win over anything the environment brings: the leak
# suppressions only match with full malloc stacks.
export ASAN_OPTIONS=${ASAN_OPTIONS:+$ASAN_OPTIONS:}abort_on_error=1:detect_leaks=1:fast_unwind_on_malloc=0
export LSAN_OPTIONS=${LSAN_OPTIONS:+$LSAN_OPTIONS:}suppressions=$top/fuzz/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=${UBSAN_OPTIONS:+$UBSAN_OPTIONS:}print_stacktrace=1:halt_on_error=1
export QT_QPA_PLATFORM=offscreen

build_targets() {
  bash "$top/scripts/install-deps.sh" "$top/scripts/deb-packages-fuzz.txt"
  # The readers' own code gets coverage feedback; Qt comes as Debian built it.
  local flags="-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined"
  flags="$flags -fno-omit-frame-pointer -O1 -g"
  if [ ! -f "$build/CMakeCache.txt" ]; then
    CC=clang CXX=clang++ cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=Debug \
      -DZRV_FUZZ=ON -DZRV_SANITIZE=OFF -DZRV_BUILD_TESTS=OFF \
      -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_C_FLAGS="$flags" \
      -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined" > "$build.configure.log" 2>&1 ||
      { cat "$build.configure.log" >&2; return 1; }
    mv "$build.configure.log" "$build/configure.log"
  fi
  cmake --build "$build" --target "${targets[@]}" -j"${ZRV_FUZZ_JOBS:-$(nproc)}"
}

binary() { echo "$build/fuzz/$1"; }

known_target() {
  local t
  for t in "${targets[@]}"; do [ "$t" = "$1" ] && return 0; done
  echo "fuzz.sh: no target $1 (have: ${targets[*]})" >&2
  return 1
}

# Runs $1 for $2 seconds on a scratch copy of its seeds (or on $3 when given).
fuzz_for() {
  local target=$1 secs=$2 corpus=${3:-} artifacts=$build/artifacts/$1 scratch="" code=0
  mkdir -p "$artifacts"
  if [ -z "$corpus" ]; then
    scratch=$(mktemp -d)
    corpus=$scratch
    cp -r "$top/fuzz/corpus/$target/." "$corpus/"
  fi
  "$(binary "$target")" "${fuzz_flags[@]}" -max_total_time="$secs" \
    -artifact_prefix="$artifacts/" "$corpus" || code=$?
  [ -z "$scratch" ] || rm -rf "$scratch"
  return "$code"
}

case ${1:-smoke} in
  build)
    build_targets
    ;;
  smoke)
    shift || true
    [ $# -gt 0 ] && targets=("$@")
    build_targets
    failed=()
    for t in "${targets[@]}"; do
      known_target "$t"
      echo "=== $t: seeds, then $seconds s"
      # Every seed once first: a crash there names the file that causes it.
      if ! "$(binary "$t")" "${fuzz_flags[@]}" -runs=0 "$top/fuzz/corpus/$t" > "$build/$t.seeds.log" 2>&1 ||
         ! fuzz_for "$t" "$seconds" > "$build/$t.smoke.log" 2>&1; then
        tail -n 40 "$build/$t.seeds.log" "$build/$t.smoke.log" 2> /dev/null >&2 || true
        failed+=("$t")
        continue
      fi
      grep -h 'stat::number_of_executed_units' "$build/$t.smoke.log" || true
    done
    [ ${#failed[@]} -eq 0 ] || { echo "fuzz.sh: crashed: ${failed[*]}" >&2; exit 1; }
    echo "fuzz.sh: ${#targets[@]} targets ran without a finding"
    ;;
  run)
    [ $# -eq 3 ] || { echo "usage: fuzz.sh run <target> <seconds>" >&2; exit 2; }
    known_target "$2"
    [ -x "$(binary "$2")" ] || build_targets
    corpus=$build/corpus/$2
    mkdir -p "$corpus"
    cp -rn "$top/fuzz/corpus/$2/." "$corpus/"
    fuzz_for "$2" "$3" "$corpus"
    ;;
  *)
    echo "usage: fuzz.sh build | smoke [target ...] | run <target> <seconds>" >&2
    exit 2
    ;;
esac
