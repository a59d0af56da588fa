# What the commands of the transcripts share.
# shellcheck shell=sh

# A program whose clock is virtual never rests, so one that should have ended goes no further.
ulimit -t 30

# Runs a command, then prints the library calls in which the pattern is found.
tracing() {
  pattern=$1
  shift
  "$@"
  status=$?
  cut -d' ' -f2- "$ZANSIM_TRACE" | grep -E -- "$pattern"
  return "$status"
}

# Runs a command, then prints the changes that it asked the library for.
changes() {
  tracing 'Set|DeviceReset\(' "$@"
}

# Runs a command in the background until the pattern stands in the file "log", which it then moves to
# "kept", and waits for the command's end.
until_log_has() {
  pattern=$1
  shift
  "$@" &
  until grep -q -- "$pattern" log; do :; done 2>/dev/null
  cp log kept
  rm log
  wait $!
}

# Waits until a reset that runs in the background has set its marker.
until_reset_begins() {
  until grep -q 'SetResetStatus(gpu0, 1) = 0' "$ZANSIM_TRACE"; do :; done 2>/dev/null
}

# Whether the reports of a machine obey their document type, given apart and within.
valid_documents() {
  zanctl --dtd >zanctl_device.dtd && zanctl -q -x >external.xml &&
    xmllint --noout --dtdvalid zanctl_device.dtd external.xml &&
    zanctl -q -x --dtd >embedded.xml && xmllint --noout --valid embedded.xml
}

# Runs a command and prints what it says as a sed script changes it.
edited() {
  script=$1
  shift
  "$@" >unedited
  status=$?
  sed -E "$script" unedited
  return "$status"
}

# The lines of a report of which the shape is known, side by side.
in_one() {
  sed -E '1,/ count /d; /^ *$/d; s/^ +//; s/ +(: |$)/\1/' | paste -sd ';' | fold -s -w 100
}

# Runs zanctl with the further arguments in turn in place of the first one's "%", prints each answer
# once, whatever value it names as not allowed, and ends as they all do.
each() {
  pattern=$1
  shift
  answers=
  unset common
  for value; do
    answer=$(eval "zanctl $(echo "$pattern" | sed "s|%|$value|")")
    status=$?
    [ "$status" = "${common=$status}" ] || echo "[one ends with $status]"
    answer=$(echo "$answer" | sed -E 's/(allowed value for )[^ ]+\./\1VALUE./')
    case $answers in *"<$answer>"*) ;; *) echo "$answer" ;; esac
    answers="$answers<$answer>"
  done
  return "$common"
}

# Ends a command when so many lines of it came through a pipe.
read_lines() {
  count=$1
  shift
  "$@" | {
    for line in $(seq "$count"); do read -r line || exit 1; done
    kill -TERM "$(pgrep -P $$ zanctl)"
  }
}

# Ends a command when so many lines stand in the file "log".
written_lines() {
  count=$1
  shift
  rm -f log
  "$@" &
  until [ "$(wc -l <log)" -ge "$count" ]; do :; done 2>/dev/null
  kill -TERM $!
}

# All groups of the exporter, its samples of GPU 1 without what they have in common, and a snapshot in
# JSON with a line for each group of readings.
GROUPS=identity,temperature,power,clock,utilization,engines,memory,pcie,pcie_throughput,processes,vgpu
of_gpu_1() {
  sed -E '/^#/d; /gpu="1"/!d; s/gpu="1",uuid="U1",?//; s/pid="[0-9]*"/pid=PID/; s/^zanthe_(gpu_)?//'
}
json_groups() {
  tr -d ' \n' | sed -E 's/"[a-z_]+":\{|\{"index"|"process_count"/\n&/g'
}

# The lines of the daemon's log.
header() {
  echo '#Time       gpu   pwr gtemp mtemp    sm   mem   enc   dec  mclk  pclk'
  echo '#HH:MM:SS   Idx     W     C     C     %     %     %     %   MHz   MHz'
}
record() {
  printf ' %s   %3d   250    65     -    85    47    12    40  1200  1446\n' "$1" "$2"
}

# Plays a log back that is read from standard input, and prints the second at the end.
played() {
  cat >played
  zanctl replay -f played && date +%S
}

# Runs the daemon and waits until nobody is left to print anything.
daemon_to_its_end() {
  (ulimit -t 3 && exec zanctl daemon "$@") | timeout 20 cat
}
