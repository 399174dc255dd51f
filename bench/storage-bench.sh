#!/usr/bin/env bash
# Storage benchmark: our storage library (through the console's worker) against
# rclone, s3cmd and awscli on the same loopback moto_server, in one run.
#   bench/storage-bench.sh            256 MiB transfer, 5000-object listing
# Transfers run in ZRV_BENCH_RUNS rounds (3), each tool once a round, and each
# tool's best time counts, with the peak memory of its process.
# Then a smaller file goes through a delaying proxy of our own on loopback that
# adds latency and limits bandwidth per connection and for the whole link, as a
# real network does, where parts in flight side by side matter; there our
# library runs in both of its modes (MinIO: one download stream; S3: several).
# Environment: ZRV_BENCH_MIB, ZRV_BENCH_OBJECTS, ZRV_BENCH_RUNS, ZRV_BENCH_BUILD_DIR;
# for the slow link ZRV_BENCH_SLOW_MIB (64), ZRV_BENCH_SLOW_RUNS (1),
# ZRV_BENCH_DELAY_MS (40, each way), ZRV_BENCH_CONN_KIBPS (4096 per connection),
# ZRV_BENCH_LINK_KIBPS (16384 in all, each way); ZRV_BENCH_SLOW_MIB=0 skips it.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
build=${ZRV_BENCH_BUILD_DIR:-$top/build-bench}
mib=${ZRV_BENCH_MIB:-256}
objects=${ZRV_BENCH_OBJECTS:-5000}
runs=${ZRV_BENCH_RUNS:-3}
slow_mib=${ZRV_BENCH_SLOW_MIB:-64}
slow_runs=${ZRV_BENCH_SLOW_RUNS:-1}
delay_ms=${ZRV_BENCH_DELAY_MS:-40}
conn_kibps=${ZRV_BENCH_CONN_KIBPS:-4096}
link_kibps=${ZRV_BENCH_LINK_KIBPS:-16384}

# Peers come from Debian; only this benchmark needs them. awscli is taken from
# its Debian package on purpose, whatever other `aws` the PATH may hold.
aws_bin=/usr/bin/aws
missing=()
command -v rclone >/dev/null || missing+=(rclone)
command -v s3cmd >/dev/null || missing+=(s3cmd)
[ -x "$aws_bin" ] || missing+=(awscli)
command -v curl >/dev/null || missing+=(curl)
[ -x /usr/bin/time ] || missing+=(time)
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
proxy_pid=""
cleanup() {
  local pid
  for pid in "$proxy_pid" "$moto_pid"; do
    if [ -n "$pid" ]; then kill "$pid" 2>/dev/null || true; wait "$pid" 2>/dev/null || true; fi
  done
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
rclone_cmd=(env -u AWS_CA_BUNDLE rclone --config /dev/null)
cat >"$work/s3cfg" <<EOF
[default]
access_key = test
secret_key = test
host_base = 127.0.0.1:$port
host_bucket = 127.0.0.1:$port
use_https = False
signature_v2 = False
EOF
s3cmd_cmd=(s3cmd -c "$work/s3cfg" --no-progress)
aws_cmd=("$aws_bin" --endpoint-url "$endpoint")
aws_run() { "${aws_cmd[@]}" "$@"; }

now() { date +%s.%N; }
declare -A best peak
once() { # <label> <command...>: one timed run; sets $t, keeps the best time and the highest peak memory
  local label=$1 start end kib; shift
  start=$(now)
  if ! /usr/bin/time -f %M -o "$work/rss" "$@" >"$work/out.log" 2>&1; then
    echo "$label failed:" >&2; cat "$work/out.log" >&2; exit 1
  fi
  end=$(now)
  t=$(awk -v a="$start" -v b="$end" 'BEGIN { printf "%.3f", b - a }')
  if [ -z "${best[$label]:-}" ] || awk -v t="$t" -v e="${best[$label]}" 'BEGIN { exit !(t < e) }'; then
    best[$label]=$t
  fi
  kib=$(tail -n 1 "$work/rss")
  if [ -z "${peak[$label]:-}" ] || [ "$kib" -gt "${peak[$label]}" ]; then peak[$label]=$kib; fi
}
# time_of <label> <command...>: $runs runs back to back; sets $elapsed to the best.
time_of() {
  local label=$1 i; shift
  for ((i = 0; i < runs; i++)); do once "list-$label" "$@"; done
  elapsed=${best[list-$label]}
}
mib_of() { awk -v k="${peak[$1]}" 'BEGIN { printf "%.1f", k / 1024 }'; }
same_file() { cmp -s "$work/source.bin" "$1" || { echo "$2 produced a different file" >&2; exit 1; }; }
ratio_line() { # <label> <our seconds> <peer seconds...>: below 1 means we were faster
  awk -v l="$1" -v our="$2" 'BEGIN { best = ARGV[3]; for (i = 3; i < ARGC; i++) if (ARGV[i] < best) best = ARGV[i];
    printf "  %s / fastest peer: %.2f (fastest peer %.2f s)\n", l, our / best, best; exit }' "$@"
}
row() { # <label> <seconds> <MiB moved> <peak KiB>
  awk -v l="$1" -v t="$2" -v m="$3" -v k="$4" 'BEGIN { printf "  %-8s %7.2f s %8.1f MiB/s %7.1f MiB peak\n", l, t, m / t, k / 1024 }'
}

echo "moto_server $endpoint, $(nproc) cores; file of $mib MiB; best of $runs runs each"
head -c $((mib * 1024 * 1024)) /dev/urandom >"$work/source.bin"

report() { # <phase> <MiB> <our tools...>: rows and the ratio from best[<phase>-<tool>]
  local phase=$1 size=$2 tool; shift 2
  for tool in "$@" rclone s3cmd awscli; do row "$tool" "${best[$phase-$tool]}" "$size" "${peak[$phase-$tool]}"; done
  for tool in "$@"; do
    ratio_line "$tool" "${best[$phase-$tool]}" "${best[$phase-rclone]}" "${best[$phase-s3cmd]}" "${best[$phase-awscli]}"
  done
}
drop() { aws_run s3 rm --only-show-errors "s3://$bucket/$1"; }

# Transfers go round by round, every tool once a round, so that a store that
# slows down or speeds up over the run treats all alike; each upload's object is
# removed outside the timing, so every run meets the same store.
echo "Upload $mib MiB"
for ((r = 0; r < runs; r++)); do
  once up-ours "$ours" upload "$endpoint" "$bucket" ours.bin "$work/source.bin"; drop ours.bin
  once up-rclone "${rclone_cmd[@]}" copyto --ignore-times --s3-no-head "$work/source.bin" "bench:$bucket/rclone.bin"; drop rclone.bin
  once up-s3cmd "${s3cmd_cmd[@]}" put "$work/source.bin" "s3://$bucket/s3cmd.bin"; drop s3cmd.bin
  once up-awscli "${aws_cmd[@]}" s3 cp --only-show-errors "$work/source.bin" "s3://$bucket/awscli.bin"; drop awscli.bin
done
report up "$mib" ours

echo "Download $mib MiB"
# Everyone downloads one object, put there by us; every copy is compared.
"$ours" upload "$endpoint" "$bucket" down.bin "$work/source.bin" >/dev/null
for ((r = 0; r < runs; r++)); do
  once down-ours "$ours" download "$endpoint" "$bucket" down.bin "$work/ours.out"
  same_file "$work/ours.out" ours; rm -f "$work/ours.out"
  once down-rclone "${rclone_cmd[@]}" copyto --ignore-times "bench:$bucket/down.bin" "$work/rclone.out"
  same_file "$work/rclone.out" rclone; rm -f "$work/rclone.out"
  once down-s3cmd "${s3cmd_cmd[@]}" get --force "s3://$bucket/down.bin" "$work/s3cmd.out"
  same_file "$work/s3cmd.out" s3cmd; rm -f "$work/s3cmd.out"
  once down-awscli "${aws_cmd[@]}" s3 cp --only-show-errors "s3://$bucket/down.bin" "$work/awscli.out"
  same_file "$work/awscli.out" awscli; rm -f "$work/awscli.out"
done
report down "$mib" ours
drop down.bin

echo "Listing of $objects objects with sizes and ETags"
"$ours" fill "$endpoint" "$bucket" list/ "$objects" | sed 's/^/  /'
time_of ours "$ours" list "$endpoint" "$bucket" list/
printf '  %-8s %7.2f s %7.1f MiB peak  %s\n' ours "$elapsed" "$(mib_of list-ours)" "$(grep -o 'requests=.*' "$work/out.log")"
# The peers take sizes and ETags from the listing pages themselves.
time_of rclone "${rclone_cmd[@]}" lsf --format psh "bench:$bucket/list/"
printf '  %-8s %7.2f s %7.1f MiB peak  objects=%s\n' rclone "$elapsed" "$(mib_of list-rclone)" "$(wc -l <"$work/out.log")"
time_of s3cmd "${s3cmd_cmd[@]}" ls --list-md5 "s3://$bucket/list/"
printf '  %-8s %7.2f s %7.1f MiB peak  objects=%s\n' s3cmd "$elapsed" "$(mib_of list-s3cmd)" "$(wc -l <"$work/out.log")"
time_of awscli "${aws_cmd[@]}" s3api list-objects-v2 --bucket "$bucket" --prefix list/ --query 'Contents[].[Key,Size,ETag]' --output text
printf '  %-8s %7.2f s %7.1f MiB peak  objects=%s\n' awscli "$elapsed" "$(mib_of list-awscli)" "$(wc -l <"$work/out.log")"

[ "$slow_mib" -gt 0 ] || exit 0

# A link of our own between the tools and the store: every chunk is held back
# by the one-way delay, and each direction is paced per connection and for the
# link as a whole. Python's asyncio, so that nothing new need be installed.
cat >"$work/link.py" <<'PY'
import asyncio, sys, time

listen, target, delay_ms, conn_kibps, link_kibps = map(int, sys.argv[1:6])
DELAY = delay_ms / 1000.0
CHUNK = 16384

class Pace:
    def __init__(self, kibps):
        self.rate = kibps * 1024.0
        self.tokens = 0.0
        self.stamp = time.monotonic()
    async def take(self, n):
        while True:
            now = time.monotonic()
            self.tokens = min(max(n, self.rate * 0.05), self.tokens + (now - self.stamp) * self.rate)
            self.stamp = now
            if self.tokens >= n:
                self.tokens -= n
                return
            await asyncio.sleep((n - self.tokens) / self.rate)

links = (Pace(link_kibps), Pace(link_kibps))

async def pipe(reader, writer, link):
    own = Pace(conn_kibps)
    queue = asyncio.Queue()
    async def feed():
        try:
            while True:
                data = await reader.read(CHUNK)
                if data:
                    await own.take(len(data))
                    await link.take(len(data))
                await queue.put((time.monotonic() + DELAY, data))
                if not data:
                    return
        except (ConnectionError, OSError):
            await queue.put((time.monotonic(), b''))
    async def drain():
        try:
            while True:
                due, data = await queue.get()
                wait = due - time.monotonic()
                if wait > 0:
                    await asyncio.sleep(wait)
                if not data:
                    if writer.can_write_eof():
                        writer.write_eof()
                    return
                writer.write(data)
                await writer.drain()
        except (ConnectionError, OSError):
            pass
    await asyncio.gather(feed(), drain())

async def serve(creader, cwriter):
    try:
        sreader, swriter = await asyncio.open_connection('127.0.0.1', target)
    except OSError:
        cwriter.close()
        return
    try:
        await asyncio.gather(pipe(creader, swriter, links[0]), pipe(sreader, cwriter, links[1]))
    finally:
        for w in (swriter, cwriter):
            w.close()

async def main():
    server = await asyncio.start_server(serve, '127.0.0.1', listen)
    async with server:
        await server.serve_forever()

asyncio.run(main())
PY
pport=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1]); s.close()')
python3 "$work/link.py" "$pport" "$port" "$delay_ms" "$conn_kibps" "$link_kibps" >"$work/link.log" 2>&1 &
proxy_pid=$!
slow="http://127.0.0.1:$pport"
for _ in $(seq 1 100); do
  curl -s -o /dev/null "$slow/" && break
  kill -0 "$proxy_pid" 2>/dev/null || { cat "$work/link.log" >&2; exit 1; }
  sleep 0.1
done

sed "s/127.0.0.1:$port/127.0.0.1:$pport/g" "$work/s3cfg" >"$work/s3cfg-slow"
slow_rclone=(env -u AWS_CA_BUNDLE RCLONE_CONFIG_BENCH_ENDPOINT="$slow" rclone --config /dev/null)
slow_s3cmd=(s3cmd -c "$work/s3cfg-slow" --no-progress)
slow_aws=("$aws_bin" --endpoint-url "$slow")
head -c $((slow_mib * 1024 * 1024)) /dev/urandom >"$work/slow.bin"
slow_same() { cmp -s "$work/slow.bin" "$1" || { echo "$2 produced a different file" >&2; exit 1; }; }

echo "Through a link of ${delay_ms} ms each way, $conn_kibps KiB/s per connection, $link_kibps KiB/s in all; file of $slow_mib MiB; best of $slow_runs"
echo "Upload $slow_mib MiB (slow link)"
for ((r = 0; r < slow_runs; r++)); do
  once sup-ours "$ours" upload "$slow" "$bucket" ours.bin "$work/slow.bin"; drop ours.bin
  once sup-ours-s3 env ZRV_BENCH_TYPE=2 "$ours" upload "$slow" "$bucket" ours.bin "$work/slow.bin"; drop ours.bin
  once sup-rclone "${slow_rclone[@]}" copyto --ignore-times --s3-no-head "$work/slow.bin" "bench:$bucket/rclone.bin"; drop rclone.bin
  once sup-s3cmd "${slow_s3cmd[@]}" put "$work/slow.bin" "s3://$bucket/s3cmd.bin"; drop s3cmd.bin
  once sup-awscli "${slow_aws[@]}" s3 cp --only-show-errors "$work/slow.bin" "s3://$bucket/awscli.bin"; drop awscli.bin
done
report sup "$slow_mib" ours ours-s3

echo "Download $slow_mib MiB (slow link)"
"$ours" upload "$endpoint" "$bucket" down.bin "$work/slow.bin" >/dev/null
for ((r = 0; r < slow_runs; r++)); do
  once sdown-ours "$ours" download "$slow" "$bucket" down.bin "$work/ours.out"
  slow_same "$work/ours.out" ours; rm -f "$work/ours.out"
  once sdown-ours-s3 env ZRV_BENCH_TYPE=2 "$ours" download "$slow" "$bucket" down.bin "$work/ours.out"
  slow_same "$work/ours.out" ours-s3; rm -f "$work/ours.out"
  once sdown-rclone "${slow_rclone[@]}" copyto --ignore-times "bench:$bucket/down.bin" "$work/rclone.out"
  slow_same "$work/rclone.out" rclone; rm -f "$work/rclone.out"
  once sdown-s3cmd "${slow_s3cmd[@]}" get --force "s3://$bucket/down.bin" "$work/s3cmd.out"
  slow_same "$work/s3cmd.out" s3cmd; rm -f "$work/s3cmd.out"
  once sdown-awscli "${slow_aws[@]}" s3 cp --only-show-errors "s3://$bucket/down.bin" "$work/awscli.out"
  slow_same "$work/awscli.out" awscli; rm -f "$work/awscli.out"
done
report sdown "$slow_mib" ours ours-s3
drop down.bin
