# shellcheck shell=bash
# Process bookkeeping of the stack: each service runs in a session of its own
# and is recorded as "<pid> <start time>" in $ZRV_PIDS/<name>.pid, so that a
# recycled pid is never taken for ours and stop reaches the whole group.
# Uses /proc only: no procps on a bare machine.

# proc_field <pid> <n>: field n (3 = state, 5 = process group, 22 = start time) of /proc/<pid>/stat.
proc_field() {
  local stat
  stat=$(cat "/proc/$1/stat" 2>/dev/null) || return 1
  # The command name in field 2 may hold blanks and parentheses; fields 3.. follow the last ")".
  local -a rest
  read -r -a rest <<< "${stat##*) }"
  echo "${rest[$(($2 - 3))]}"
}

# proc_alive <pid> <start time>: the very process we started still runs (a zombie counts as gone).
proc_alive() {
  local state start
  state=$(proc_field "$1" 3) || return 1
  [ "$state" != Z ] || return 1
  start=$(proc_field "$1" 22) || return 1
  [ "$start" = "$2" ]
}

# proc_group <pgid>: pids of the live members of a process group.
proc_group() {
  local stat line pid
  local -a rest
  # Builtins only: this runs over every process, several times a second while stopping.
  for stat in /proc/[0-9]*/stat; do
    { read -r line < "$stat"; } 2>/dev/null || continue
    read -r -a rest <<< "${line##*) }"
    if [ "${rest[2]}" = "$1" ] && [ "${rest[0]}" != Z ]; then
      pid=${stat#/proc/}; echo "${pid%/stat}"
    fi
  done
  return 0
}

# proc_start <name> <log> <command...>: starts the command detached, in its own session.
proc_start() {
  local name=$1 log=$2; shift 2
  # A background child of a shell without job control is no group leader,
  # so setsid makes it the leader of a new session without forking again.
  setsid "$@" < /dev/null > "$log" 2>&1 &
  local pid=$!
  local start
  start=$(proc_field "$pid" 22) || { echo "$name: did not start" >&2; return 1; }
  echo "$pid $start" > "$ZRV_PIDS/$name.pid"
}

# proc_read <name>: prints "<pid> <start time>" of a recorded service.
proc_read() {
  [ -f "$ZRV_PIDS/$1.pid" ] && cat "$ZRV_PIDS/$1.pid"
}

# proc_running <name>: the recorded service runs.
proc_running() {
  local rec
  rec=$(proc_read "$1") || return 1
  # shellcheck disable=SC2086
  proc_alive $rec
}

# proc_pid <name>
proc_pid() {
  local rec
  rec=$(proc_read "$1") || return 1
  echo "${rec%% *}"
}

# proc_stop <name> [grace seconds]: TERM to the service's group, KILL to what is left after the grace time.
proc_stop() {
  local name=$1 grace=${2:-5} rec pid start
  rec=$(proc_read "$name") || return 0
  read -r pid start <<< "$rec"
  if proc_alive "$pid" "$start"; then
    kill -TERM -- "-$pid" 2>/dev/null || kill -TERM "$pid" 2>/dev/null || true
  fi
  local deadline=$((SECONDS + grace))
  while [ -n "$(proc_group "$pid")" ] && [ $SECONDS -lt $deadline ]; do
    sleep 0.1
  done
  if [ -n "$(proc_group "$pid")" ]; then
    echo "$name: still running after ${grace}s, killing" >&2
    kill -KILL -- "-$pid" 2>/dev/null || true
    deadline=$((SECONDS + 2))
    while [ -n "$(proc_group "$pid")" ] && [ $SECONDS -lt $deadline ]; do sleep 0.1; done
  fi
  rm -f "$ZRV_PIDS/$name.pid"
}

# free_port: a loopback port nobody listens on right now.
free_port() {
  # shellcheck disable=SC2016
  php -r '$s = stream_socket_server("tcp://127.0.0.1:0", $no, $err) or exit(1);
          $n = stream_socket_get_name($s, false); echo substr($n, strrpos($n, ":") + 1), "\n";'
}

# proc_listens <name> <port>: the service itself (not someone else on the same
# port) holds a listening socket on that port.
proc_listens() {
  local pid hex inodes fd
  pid=$(proc_pid "$1") || return 1
  printf -v hex '%04X' "$2"
  # Field 4 "0A" is LISTEN; field 10 the socket's inode.
  inodes=$(awk -v p=":$hex" '$4 == "0A" && substr($2, length($2) - 4) == p { print "socket:[" $10 "]" }' \
           /proc/net/tcp /proc/net/tcp6 2>/dev/null)
  [ -n "$inodes" ] || return 1
  for fd in /proc/"$pid"/fd/*; do
    grep -qxF "$(readlink "$fd" 2>/dev/null)" <<< "$inodes" && return 0
  done
  return 1
}

# wait_ready <name> <port> <url> <seconds>: until the service listens on its
# port and answers over HTTP; fails at once when its process is gone.
wait_ready() {
  local name=$1 port=$2 url=$3 deadline=$((SECONDS + $4)) code
  while [ $SECONDS -lt $deadline ]; do
    proc_running "$name" || { echo "$name: exited during start-up" >&2; return 1; }
    if proc_listens "$name" "$port"; then
      code=$(curl -s -o /dev/null -m 2 -w '%{http_code}' "$url" 2>/dev/null) || true
      [ -n "$code" ] && [ "$code" != 000 ] && return 0
    fi
    sleep 0.1
  done
  echo "$name: not ready at $url within $4 s" >&2
  return 1
}
