#!/usr/bin/env bash
# Starts the local platform in a folder of its own, uses each service the way
# the console does, stops it and makes sure none of its processes is left.
# ZRV_SIM_BIN names the simulator to use ("none": the stack runs without it).
# shellcheck disable=SC2016  # the PHP snippets are meant for PHP, not for the shell
set -uo pipefail
top=${ZRV_SOURCE_DIR:-$(cd "$(dirname "$0")/../.." && pwd)}
stack=$top/platform/stack.sh
export ZRV_STACK_SKIP_INSTALL=1
work=$(mktemp -d)
export ZRV_STACK_DIR=$work/main
failures=0

cleanup() {
  local dir
  for dir in "$work"/*/; do ZRV_STACK_DIR=$dir bash "$stack" stop > /dev/null 2>&1; done
  rm -rf "$work"
}
trap cleanup EXIT

check() {  # check <what> <command...>
  local what=$1; shift
  if "$@"; then echo "ok   $what"; else echo "FAIL $what"; failures=$((failures + 1)); fi
}

# Runs a PHP snippet over standard input: $in holds it, $argv the rest.
php_eval() { local code=$1; shift; php -r "\$in = stream_get_contents(STDIN); $code" -- "$@"; }

# Hrefs of a multistatus, decoded and relative to the account's root, one per line.
hrefs() {
  php_eval '$d = new DOMDocument(); if (!@$d->loadXML($in)) exit(1);
    foreach ($d->getElementsByTagNameNS("DAV:", "href") as $h)
      echo substr(rawurldecode($h->textContent), strlen("/remote.php/dav/files/cloud/")), "\n";'
}

# Every entry's parent folder is listed before it.
parents_first() {
  php_eval '$seen = array("" => true); $ok = true;
    foreach (array_filter(explode("\n", $in), "strlen") as $p) {
      $parent = preg_replace("~[^/]+/?$~", "", $p);
      if ($p !== "" && !isset($seen[$parent])) { echo "  $p comes before $parent\n"; $ok = false; }
      $seen[$p] = true;
    }
    exit($ok ? 0 : 1);'
}

# The root is asked for without a trailing slash, as the console does.
propfind() {  # propfind <user:password> <depth> [path]
  curl -s -k -u "$1" -X PROPFIND -H "Depth: $2" -w '\n%{http_code}' "$ZRV_DAV_URL/remote.php/dav/files/cloud${3:+/$3}"
}

# alive <pid> <start time>: that very process still runs (zombies count as gone).
alive() {
  local stat rest
  stat=$(cat "/proc/$1/stat" 2>/dev/null) || return 1
  read -r -a rest <<< "${stat##*) }"
  [ "${rest[0]}" != Z ] && [ "${rest[19]}" = "$2" ]
}

none_alive() {  # none_alive <pid file>...
  local f pid start
  for f in "$@"; do
    read -r pid start < "$f"
    alive "$pid" "$start" && { echo "  pid $pid of $(basename "$f" .pid) still runs"; return 1; }
  done
  return 0
}

silent() { [ "$(curl -s -o /dev/null -m 2 -w '%{http_code}' "$1")" = 000 ]; }

# --- start ---------------------------------------------------------------------
# Versions and lifetimes as a tester of the update offer, the bundle gate and expiry sets them.
out=$(ZRV_SERVICE_VERSION=v2.0.29 ZRV_CONSOLE_VERSION=9.1.0 ZRV_TOKEN_LIFETIME=77 ZRV_REFRESH_LIFETIME=99 \
      ZRV_S3_KEY_LIFETIME=120 bash "$stack" start 2>&1)
rc=$?
echo "$out" | sed 's/^/  | /'
check "start succeeds" [ $rc -eq 0 ]
[ $rc -eq 0 ] || exit 1
# shellcheck source=/dev/null
source "$ZRV_STACK_DIR/stack.env"
check "status reports a running stack" bash "$stack" status > /dev/null

# --- S3 store ------------------------------------------------------------------
listing=$(curl -s "$ZRV_S3_URL/$ZRV_S3_BUCKET?list-type=2")
keys=$(echo "$listing" | grep -o '<Key>[^<]*</Key>' | sed 's/<[^>]*>//g')
check "the bucket holds a folder per storage account" \
  bash -c 'for l in admin groupadmin presenter visitor inactive small trial "AROAZRVSIM00000000002:groupadmin"; do
             grep -qx "$l/models/stage.fbx" <<< "$1" || exit 1; done' _ "$keys"
check "the Amazon S3 account's folder is in bucket bvkzrv" \
  grep -qx 'AROAZRVSIM00000000008:amazon/models/stage.fbx' <<< "$(curl -s "$ZRV_S3_URL/bvkzrv?list-type=2" | grep -o '<Key>[^<]*</Key>' | sed 's/<[^>]*>//g')"
check "the seed asset bundles are there in four builds" \
  [ "$(grep -c '^global/__ASSETBUNDLES/Zarvo Lobby\.\(win\|ios\|android\|web\)\.asb$' <<< "$keys")" -eq 4 ]
stage_size=$(php_eval '$x = simplexml_load_string($in); foreach ($x->Contents as $c)
  if ((string)$c->Key === "presenter/models/stage.fbx") echo $c->Size;' <<< "$listing")
check "the stage model has the size the seed meetings give it" [ "$stage_size" = 482133 ]

# --- WebDAV --------------------------------------------------------------------
reply=$(propfind cloud:cloud123 10)
check "PROPFIND Depth 10 answers 207" [ "$(tail -n1 <<< "$reply")" = 207 ]
deep=$(sed '$d' <<< "$reply" | hrefs)
expected=$(cd "$ZRV_STACK_DIR/webdav/cloud" && find . -mindepth 1 \( -type d -printf '%P/\n' -o -type f -printf '%P\n' \) | sort)
check "Depth 10 lists every nested folder and file" [ "$(grep -v '^$' <<< "$deep" | sort)" = "$expected" ]
check "Depth 10 lists each folder before its content" parents_first <<< "$deep"
check "Depth 0 is the root alone" [ "$(propfind cloud:cloud123 0 | sed '$d' | hrefs)" = "" ]
shallow=$(propfind cloud:cloud123 1 | sed '$d' | hrefs | grep -v '^$' | sort)
check "Depth 1 lists the root's own entries only" \
  [ "$shallow" = "$(cd "$ZRV_STACK_DIR/webdav/cloud" && find . -mindepth 1 -maxdepth 1 \( -type d -printf '%P/\n' -o -type f -printf '%P\n' \) | sort)" ]
refused=$(propfind cloud:wrong 10)
check "a wrong password answers 401" [ "$(tail -n1 <<< "$refused")" = 401 ]
check "the refusal is a d:error with s:exception and s:message" \
  php_eval '$d = new DOMDocument(); exit(@$d->loadXML($in) && $d->documentElement->localName === "error"
    && $d->getElementsByTagName("exception")->length === 1 && $d->getElementsByTagName("message")->length === 1 ? 0 : 1);' \
  <<< "$(sed '$d' <<< "$refused")"
check "a file reads back as stored" cmp -s <(curl -s -u cloud:cloud123 "$ZRV_DAV_URL/remote.php/dav/files/cloud/Models/Furniture/Office%20Desk.fbx") \
  "$ZRV_STACK_DIR/webdav/cloud/Models/Furniture/Office Desk.fbx"

# --- simulator and INI -------------------------------------------------------------
if [ "${ZRV_SIM_BIN:-}" != none ]; then
  check "the simulator is healthy" [ "$(curl -s "$ZRV_SIM_URL/_sim/health" | php_eval 'echo json_decode($in)->ok ? "yes" : "no";')" = yes ]
  storage_of() {  # storage_of <login> <password>: "Address Bucket" of the account's storage group
    local token
    token=$(curl -s -d "client=BVK&username=$1&password=$2&oldpassword=" "$ZRV_SIM_URL/auth/login" |
            php_eval 'echo json_decode($in)->access_token;')
    curl -s -H "Authorization: Bearer $token" "$ZRV_SIM_URL/auth/groups?realm=BVK&prefix=Customer" |
      php_eval '$v = array(); foreach (json_decode($in, true)["groups"][0]["subGroups"] as $g)
        foreach ($g["attributes"] as $a) $v[$a["key"]] = $a["value"][0];
        echo $v["Address"] ?? "", " ", $v["Bucket"] ?? "";'
  }
  check "a MinIO account is handed this stack's S3 store" [ "$(storage_of admin admin123)" = "$ZRV_S3_URL $ZRV_S3_BUCKET" ]
  check "the Amazon S3 account is handed bucket bvkzrv" [ "$(storage_of amazon amazon123)" = "$ZRV_S3_URL bvkzrv" ]
  login=$(curl -s -d "client=BVK&username=groupadmin&password=group123&passwordold=" "$ZRV_SIM_URL/auth/login")
  check "token lifetimes come from the environment" \
    [ "$(php_eval '$j = json_decode($in); echo $j->expires_in, "/", $j->refresh_expires_in;' <<< "$login")" = 77/99 ]
  token=$(php_eval 'echo json_decode($in)->access_token;' <<< "$login")
  expiry=$(curl -s -H "Authorization: Bearer $token" "$ZRV_SIM_URL/zrv/svc/s3/token" | php_eval 'echo json_decode($in)->Expiration;')
  check "storage keys live as long as the environment says" \
    [ $(( $(date -u -d "$expiry" +%s) - $(date -u +%s) )) -le 120 -a $(( $(date -u -d "$expiry" +%s) - $(date -u +%s) )) -ge 100 ]
  check "the service version comes from the environment" \
    [ "$(curl -s "$ZRV_SIM_URL/zrv/svc/status" | php_eval 'echo json_decode($in)->message;')" = "OK - Version v2.0.29" ]
  check "the console version offered comes from the environment" \
    [ "$(curl -s "$ZRV_SIM_URL/zrv/svc/versions" | php_eval 'echo implode(".", json_decode($in)->Console->Version);')" = 9.1.0 ]
  check "the NextCloud account is handed this stack's WebDAV server" [ "$(storage_of cloud cloud123)" = "$ZRV_DAV_URL " ]
  ini=$ZRV_STACK_DIR/zarvo.ini
  check "the INI names the four groups" \
    [ "$(grep -o '^\[[A-Za-z_]*\]' "$ini" | tr '\n' ' ')" = "[ZRV_MeetingService] [ZRV_AuthService] [ZRV_Service] [ZRV_Console] " ]
  check "each service group points at the simulator" [ "$(grep -c "^host=$ZRV_SIM_URL\$" "$ini")" -eq 3 ]
fi

# --- a second start, a second stack, a failed start ----------------------------------
pids_before=$(cat "$ZRV_STACK_DIR"/pids/*.pid)
bash "$stack" start > /dev/null 2>&1
check "starting a running stack leaves it as it is" [ "$(cat "$ZRV_STACK_DIR"/pids/*.pid)" = "$pids_before" ]

ZRV_STACK_DIR=$work/other ZRV_SIM_BIN=none bash "$stack" start > /dev/null 2>&1
check "a second stack starts beside the first" [ $? -eq 0 ]
other_dav=$(sed -n 's/^ZRV_DAV_URL=//p' "$work/other/stack.env" 2>/dev/null)
check "the second stack has ports of its own" [ -n "$other_dav" -a "$other_dav" != "$ZRV_DAV_URL" ]
ZRV_STACK_DIR=$work/other bash "$stack" stop > /dev/null 2>&1
check "stopping the second stack leaves the first running" bash "$stack" status > /dev/null

failed_out=$(ZRV_STACK_DIR=$work/failed ZRV_SIM_BIN=/bin/false bash "$stack" start 2>&1)
check "a simulator that dies at start fails the start" [ $? -ne 0 ]
check "a failed start leaves none of its processes behind" [ -z "$(ls "$work/failed/pids")" ]
grep -q 'exited during start-up' <<< "$failed_out" || echo "$failed_out" | sed 's/^/  | /'

taken_port=${ZRV_DAV_URL##*:}
taken_out=$(ZRV_STACK_DIR=$work/taken ZRV_SIM_BIN=none ZRV_DAV_PORT=$taken_port bash "$stack" start 2>&1)
check "a fixed port that another server holds fails the start" [ $? -ne 0 ]
check "the failure names the taken port" grep -q 'Address already in use' <<< "$taken_out"
check "that failed start leaves none of its processes behind" [ -z "$(ls "$work/taken/pids")" ]

# --- stop ------------------------------------------------------------------------
cp -r "$ZRV_STACK_DIR/pids" "$work/recorded"
urls=("$ZRV_S3_URL/" "$ZRV_DAV_URL/status.php")
[ -n "$ZRV_SIM_URL" ] && urls+=("$ZRV_SIM_URL/_sim/health")
bash "$stack" stop > /dev/null 2>&1
check "stop succeeds" [ $? -eq 0 ]
check "every recorded process is gone" none_alive "$work"/recorded/*.pid
for url in "${urls[@]}"; do
  check "nothing answers at $url any more" silent "$url"
done
bash "$stack" status > /dev/null 2>&1
check "status reports a stopped stack" [ $? -eq 3 ]
[ -n "$ZRV_SIM_URL" ] && check "the simulator saved its state on stop" [ -s "$ZRV_STACK_DIR/sim-state.json" ]

if [ $failures -ne 0 ]; then
  echo "$failures check(s) failed; logs:"
  tail -n 20 "$ZRV_STACK_DIR"/logs/*.log
  exit 1
fi
echo "all passed"
