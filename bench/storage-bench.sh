#!/usr/bin/env bash
# Storage benchmark: our storage library (through the console's worker) against
# rclone, s3cmd and awscli on the same loopback moto_server, in one run.
#   bench/storage-bench.sh            256 MiB transfer, 5000-object listing
# Transfers run in ZRV_BENCH_RUNS rounds (3), each tool once a round, and each
# tool's best time counts.
# Environment: ZRV_BENCH_MIB, ZRV_BENCH_OBJECTS, ZRV_BENCH_RUNS, ZRV_BENCH_BUILD_DIR.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
build=${ZRV_BENCH_BUILD_DIR:-$top/build-bench}
mib=${ZRV_BENCH_MIB:-256}
objects=${ZRV_BENCH_OBJECTS:-5000}
runs=${ZRV_BENCH_RUNS:-3}

# Peers come from Debian; only this benchmark needs them. awscli is taken from
# its Debian package on purpose, whatever other `aws` the PATH may hold.
aws_bin=/usr/bin/aws
missing=()
command -v rclone >/dev/null || missing+=(rclone)
command -v s3cmd >/dev/null || missing+=(s3cmd)
[ -x "$aws_bin" ] || missing+=(awscli)
command -v curl >/dev/null || missing+=(curl)
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing peers: ${missing[*]}"
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get -o DPkg::Lock::Timeout=300 update -qq || true
  $sudo apt-get -o DPkg::Lock::Timeout=300 install -y -qq --no-install-recommends "${missing[@]}"
fi
command -v moto_server >/dev/null || { echo "moto_server is not on PATH" >&2; exit 1; }

echo "Building zrv-storage-bench (Release, no sanitizers) in $build"
cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=Release -DZRV_SANITIZE=OFF -DZRV_BUILD_TESTS=OFF \
  -DZRV_BUILD_BENCH=ON >/dev/null
cmake --build "$build" --target zrv-storage-bench -j"$(nproc)" >/dev/null
ours="$build/bench/zrv-storage-bench"

work=$(mktemp -d)
moto_pid=""
cleanup() {
  if [ -n "$moto_pid" ]; then kill "$moto_pid" 2>/dev/null || true; wait "$moto_pid" 2>/dev/null || true; fi
  rm -rf "$work"
}
trap cleanup EXIT

port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1]); s.close()')
endpoint="http://127.0.0.1:$port"
moto_server -H 127.0.0.1 -p "$port" >"$work/moto.log" 2>&1 &
moto_pid=$!
for _ in $(seq 1 100); do
  curl -s -o /dev/null "$endpoint/" && break
  kill -0 "$moto_pid" 2>/dev/null || { cat "$work/moto.log" >&2; exit 1; }
  sleep 0.1
done
curl -s -o /dev/null "$endpoint/" || { echo "moto_server did not answer on $endpoint" >&2; exit 1; }

export AWS_ACCESS_KEY_ID=test AWS_SECRET_ACCESS_KEY=test AWS_DEFAULT_REGION=us-east-1
bucket=bench
curl -sf -X PUT -H "Authorization: AWS4-HMAC-SHA256 Credential=test/20260101/us-east-1/s3/aws4_request, SignedHeaders=host, Signature=00" \
  "$endpoint/$bucket" -o /dev/null

# --ignore-times: a repeated run must transfer again, not find the copy current.
# rclone 1.60 checks an upload with HEAD ...?versionId=null, which moto
# refuses with 400; --s3-no-head skips it. It also must not see AWS_CA_BUNDLE.
export RCLONE_CONFIG_BENCH_TYPE=s3 RCLONE_CONFIG_BENCH_PROVIDER=Other RCLONE_CONFIG_BENCH_ENDPOINT="$endpoint" \
  RCLONE_CONFIG_BENCH_ACCESS_KEY_ID=test RCLONE_CONFIG_BENCH_SECRET_ACCESS_KEY=test RCLONE_CONFIG_BENCH_REGION=us-east-1
rclone_run() { env -u AWS_CA_BUNDLE rclone --config /dev/null "$@"; }
cat >"$work/s3cfg" <<EOF
[default]
access_key = test
secret_key = test
host_base = 127.0.0.1:$port
host_bucket = 127.0.0.1:$port
use_https = False
signature_v2 = False
EOF
s3cmd_run() { s3cmd -c "$work/s3cfg" --no-progress "$@"; }
aws_run() { "$aws_bin" --endpoint-url "$endpoint" "$@"; }

now() { date +%s.%N; }
declare -A best
once() { # <label> <command...>: one timed run; sets $t
  local label=$1 start end; shift
  start=$(now)
  if ! "$@" >"$work/out.log" 2>&1; then
    echo "$label failed:" >&2; cat "$work/out.log" >&2; exit 1
  fi
  end=$(now)
  t=$(awk -v a="$start" -v b="$end" 'BEGIN { printf "%.3f", b - a }')
  if [ -z "${best[$label]:-}" ] || awk -v t="$t" -v e="${best[$label]}" 'BEGIN { exit !(t < e) }'; then
    best[$label]=$t
  fi
}
# time_of <label> <command...>: $runs runs back to back; sets $elapsed to the best.
time_of() {
  local label=$1 i; shift
  for ((i = 0; i < runs; i++)); do once "list-$label" "$@"; done
  elapsed=${best[list-$label]}
}
same_file() { cmp -s "$work/source.bin" "$1" || { echo "$2 produced a different file" >&2; exit 1; }; }
ratio_line() { # <our seconds> <peer seconds...>: below 1 means we were faster
  awk -v our="$1" 'BEGIN { best = ARGV[2]; for (i = 2; i < ARGC; i++) if (ARGV[i] < best) best = ARGV[i];
    printf "  ours / fastest peer: %.2f (fastest peer %.2f s)\n", our / best, best; exit }' "$@"
}
row() { awk -v l="$1" -v t="$2" -v m="$mib" -v x="${3:-}" 'BEGIN { printf "  %-8s %7.2f s %8.1f MiB/s%s\n", l, t, m / t, x }'; }

echo "moto_server $endpoint, $(nproc) cores; file of $mib MiB; best of $runs runs each"
head -c $((mib * 1024 * 1024)) /dev/urandom >"$work/source.bin"

report() { # <phase>: rows and the ratio from best[<phase>-<tool>]
  local tool
  for tool in ours rclone s3cmd awscli; do row "$tool" "${best[$1-$tool]}"; done
  ratio_line "${best[$1-ours]}" "${best[$1-rclone]}" "${best[$1-s3cmd]}" "${best[$1-awscli]}"
}
drop() { aws_run s3 rm --only-show-errors "s3://$bucket/$1"; }

# Transfers go round by round, every tool once a round, so that a store that
# slows down or speeds up over the run treats all alike; each upload's object is
# removed outside the timing, so every run meets the same store.
echo "Upload $mib MiB"
for ((r = 0; r < runs; r++)); do
  once up-ours "$ours" upload "$endpoint" "$bucket" ours.bin "$work/source.bin"; drop ours.bin
  once up-rclone rclone_run copyto --ignore-times --s3-no-head "$work/source.bin" "bench:$bucket/rclone.bin"; drop rclone.bin
  once up-s3cmd s3cmd_run put "$work/source.bin" "s3://$bucket/s3cmd.bin"; drop s3cmd.bin
  once up-awscli aws_run s3 cp --only-show-errors "$work/source.bin" "s3://$bucket/awscli.bin"; drop awscli.bin
done
report up

echo "Download $mib MiB"
# Everyone downloads one object, put there by us; every copy is compared.
"$ours" upload "$endpoint" "$bucket" down.bin "$work/source.bin" >/dev/null
for ((r = 0; r < runs; r++)); do
  once down-ours "$ours" download "$endpoint" "$bucket" down.bin "$work/ours.out"
  same_file "$work/ours.out" ours; rm -f "$work/ours.out"
  once down-rclone rclone_run copyto --ignore-times "bench:$bucket/down.bin" "$work/rclone.out"
  same_file "$work/rclone.out" rclone; rm -f "$work/rclone.out"
  once down-s3cmd s3cmd_run get --force "s3://$bucket/down.bin" "$work/s3cmd.out"
  same_file "$work/s3cmd.out" s3cmd; rm -f "$work/s3cmd.out"
  once down-awscli aws_run s3 cp --only-show-errors "s3://$bucket/down.bin" "$work/awscli.out"
  same_file "$work/awscli.out" awscli; rm -f "$work/awscli.out"
done
report down
drop down.bin

echo "Listing of $objects objects with sizes and ETags"
"$ours" fill "$endpoint" "$bucket" list/ "$objects" | sed 's/^/  /'
time_of ours "$ours" list "$endpoint" "$bucket" list/
printf '  %-8s %7.2f s  %s\n' ours "$elapsed" "$(grep -o 'requests=.*' "$work/out.log")"
# The peers take sizes and ETags from the listing pages themselves.
time_of rclone rclone_run lsf --format psh "bench:$bucket/list/"
printf '  %-8s %7.2f s  objects=%s\n' rclone "$elapsed" "$(wc -l <"$work/out.log")"
time_of s3cmd s3cmd_run ls --list-md5 "s3://$bucket/list/"
printf '  %-8s %7.2f s  objects=%s\n' s3cmd "$elapsed" "$(wc -l <"$work/out.log")"
time_of awscli aws_run s3api list-objects-v2 --bucket "$bucket" --prefix list/ --query 'Contents[].[Key,Size,ETag]' --output text
printf '  %-8s %7.2f s  objects=%s\n' awscli "$elapsed" "$(wc -l <"$work/out.log")"
