#!/usr/bin/env bash
# Storage benchmark: our storage library (through the console's worker) against
# rclone, s3cmd and awscli on the same loopback moto_server, in one run.
#   bench/storage-bench.sh            256 MiB transfer, 5000-object listing
# Each transfer runs ZRV_BENCH_RUNS times (3) per tool and the best time counts.
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
# time_of <label> <command...>: runs the command $runs times, prints nothing,
# sets $elapsed to the best time; every tool gets the same number of tries.
elapsed=0
time_of() {
  local label=$1; shift
  local start end t i
  elapsed=""
  for ((i = 0; i < runs; i++)); do
    start=$(now)
    if ! "$@" >"$work/out.log" 2>&1; then
      echo "$label failed:" >&2; cat "$work/out.log" >&2; exit 1
    fi
    end=$(now)
    t=$(awk -v a="$start" -v b="$end" 'BEGIN { printf "%.3f", b - a }')
    if [ -z "$elapsed" ] || awk -v t="$t" -v e="$elapsed" 'BEGIN { exit !(t < e) }'; then elapsed=$t; fi
  done
}
same_file() { cmp -s "$work/source.bin" "$1" || { echo "$2 produced a different file" >&2; exit 1; }; }
ratio_line() { # <our seconds> <peer seconds...>: below 1 means we were faster
  awk -v our="$1" 'BEGIN { best = ARGV[2]; for (i = 2; i < ARGC; i++) if (ARGV[i] < best) best = ARGV[i];
    printf "  ours / fastest peer: %.2f (fastest peer %.2f s)\n", our / best, best; exit }' "$@"
}
row() { awk -v l="$1" -v t="$2" -v m="$mib" -v x="${3:-}" 'BEGIN { printf "  %-8s %7.2f s %8.1f MiB/s%s\n", l, t, m / t, x }'; }

echo "moto_server $endpoint, $(nproc) cores; file of $mib MiB; best of $runs runs each"
head -c $((mib * 1024 * 1024)) /dev/urandom >"$work/source.bin"

echo "Upload $mib MiB"
time_of ours "$ours" upload "$endpoint" "$bucket" ours.bin "$work/source.bin"
up_ours=$elapsed; row ours "$up_ours" "  ($(grep -o 'requests=[0-9]*' "$work/out.log"))"
time_of rclone rclone_run copyto --ignore-times --s3-no-head "$work/source.bin" "bench:$bucket/rclone.bin"
up_rclone=$elapsed; row rclone "$up_rclone"
time_of s3cmd s3cmd_run put "$work/source.bin" "s3://$bucket/s3cmd.bin"
up_s3cmd=$elapsed; row s3cmd "$up_s3cmd"
time_of awscli aws_run s3 cp --only-show-errors "$work/source.bin" "s3://$bucket/awscli.bin"
up_aws=$elapsed; row awscli "$up_aws"
ratio_line "$up_ours" "$up_rclone" "$up_s3cmd" "$up_aws"
# Only the object uploaded by us stays; everyone downloads that one.
for k in rclone.bin s3cmd.bin awscli.bin; do aws_run s3 rm --only-show-errors "s3://$bucket/$k"; done

echo "Download $mib MiB"
time_of ours "$ours" download "$endpoint" "$bucket" ours.bin "$work/ours.out"
down_ours=$elapsed; same_file "$work/ours.out" ours; row ours "$down_ours" "  ($(grep -o 'requests=[0-9]*' "$work/out.log"))"
rm -f "$work/ours.out"
time_of rclone rclone_run copyto --ignore-times "bench:$bucket/ours.bin" "$work/rclone.out"
down_rclone=$elapsed; same_file "$work/rclone.out" rclone; row rclone "$down_rclone"
rm -f "$work/rclone.out"
time_of s3cmd s3cmd_run get --force "s3://$bucket/ours.bin" "$work/s3cmd.out"
down_s3cmd=$elapsed; same_file "$work/s3cmd.out" s3cmd; row s3cmd "$down_s3cmd"
rm -f "$work/s3cmd.out"
time_of awscli aws_run s3 cp --only-show-errors "s3://$bucket/ours.bin" "$work/awscli.out"
down_aws=$elapsed; same_file "$work/awscli.out" awscli; row awscli "$down_aws"
rm -f "$work/awscli.out"
ratio_line "$down_ours" "$down_rclone" "$down_s3cmd" "$down_aws"
aws_run s3 rm --only-show-errors "s3://$bucket/ours.bin"

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
