#!/usr/bin/env bash
# A one-node Slurm cluster on this machine, for trying farm renders and for the farm test:
# Debian's slurmctld, slurmd and munge on loopback, without cgroups or an accounting database.
#
# Usage: scripts/slurm-local.sh start|stop|status
#   start   installs the packages when missing, writes the configuration (only where none is,
#           or where this script wrote it), starts the daemons that are not running and waits
#           until the node takes jobs
#   stop    stops the daemons that `start` started, by the pids in their pid files
#   status  exits 0 when the cluster answers and its node takes jobs
#
# Exit codes: 0 done; 69 the cluster cannot run here (the message says why: no root, no
# packages, a daemon that did not come up, another cluster's configuration); 64 usage.
# Needs root, or sudo without a password.
set -euo pipefail

conf=/etc/slurm/slurm.conf
marker="# Written by tessfx scripts/slurm-local.sh"
state=/var/lib/tessfx-slurm
logs=/var/log/tessfx-slurm
run=/run/tessfx-slurm   # what this script started, one daemon name per line
node=localhost          # resolves everywhere: an unresolvable name costs 10 s per call

unavailable() {
  echo "slurm-local: $*" >&2
  exit 69
}

if [ "$(id -u)" -ne 0 ]; then
  # Everything below needs root; come back through sudo when it asks for no password.
  if command -v sudo >/dev/null && sudo -n true 2>/dev/null; then exec sudo -n -- "$0" "$@"; fi
  unavailable "needs root (or sudo without a password) to install and run the Slurm daemons"
fi

# A process is gone when it no longer exists or is a zombie (which may linger here).
alive() {
  local pid="$1"
  [ -n "$pid" ] && [ -r "/proc/$pid/status" ] && ! grep -q '^State:[[:space:]]*Z' "/proc/$pid/status" 2>/dev/null
}

pid_of() { [ -r "$1" ] && tr -dc '0-9' <"$1" || true; }

# name pidfile
daemon_alive() { alive "$(pid_of "$2")"; }

munge_pid=/run/munge/munged.pid
ctld_pid=/run/slurm/slurmctld.pid
slurmd_pid=/run/slurm/slurmd.pid

# The node's state as sinfo reports it ("idle", "mixed", "drained", ...), empty when the
# controller does not answer.
node_state() { timeout 5 sinfo -h -N -n "$node" -o %T 2>/dev/null | head -1 || true; }

ready() {
  timeout 5 scontrol ping 2>/dev/null | grep -q 'is UP' || return 1
  case "$(node_state)" in idle* | mixed* | allocated* | completing*) return 0 ;; esac
  return 1
}

show_logs() {
  local f
  for f in "$logs/slurmctld.log" "$logs/slurmd.log" /var/log/munge/munged.log; do
    [ -s "$f" ] || continue
    echo "--- last lines of $f" >&2
    tail -n 15 "$f" >&2
  done
}

install_packages() {
  local missing=() p
  for p in slurmctld slurmd slurm-client munge; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "slurm-local: installing ${missing[*]}"
  # The packages' own start-up scripts are kept from running: this script starts the daemons.
  local log
  log="$(mktemp)"
  if ! { apt-get update -qq &&
    DEBIAN_FRONTEND=noninteractive RUNLEVEL=1 apt-get install -y -qq --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
    tail -n 15 "$log" >&2
    rm -f "$log"
    unavailable "could not install ${missing[*]} with apt-get"
  fi
  rm -f "$log"
}

write_config() {
  if [ -e "$conf" ] && ! grep -qF "$marker" "$conf"; then
    unavailable "$conf exists and was not written by this script: this machine belongs to a cluster already" \
      "(submit farm renders to it, or move the file away to try the local one)"
  fi
  local hardware
  # The node as slurmd finds it (CPUs, sockets, cores, threads, memory), under our name.
  hardware="$(slurmd -C 2>/dev/null | grep '^NodeName=' | sed -e "s/^NodeName=[^ ]*/NodeName=$node/" -e 's/ *$//')"
  [ -n "$hardware" ] || unavailable "slurmd -C did not describe this machine"
  mkdir -p "$(dirname "$conf")"
  local tmp="$conf.tmp.$$"
  cat >"$tmp" <<EOF
$marker: one node on loopback, no cgroups,
# no accounting database. Remove this file to use the machine in another cluster.
ClusterName=tessfx-local
SlurmctldHost=$node
SlurmUser=slurm
AuthType=auth/munge
SlurmctldPort=6817
SlurmdPort=6818
StateSaveLocation=$state/ctld
SlurmdSpoolDir=$state/d
SlurmctldPidFile=$ctld_pid
SlurmdPidFile=$slurmd_pid
SlurmctldLogFile=$logs/slurmctld.log
SlurmdLogFile=$logs/slurmd.log
MailProg=/bin/true
MpiDefault=none
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
SchedulerType=sched/backfill
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
ReturnToService=2
# Finished jobs stay visible to squeue and scontrol for this many seconds.
MinJobAge=600
$hardware State=UNKNOWN
PartitionName=local Nodes=$node Default=YES MaxTime=INFINITE State=UP
EOF
  mv -f "$tmp" "$conf"
}

prepare_munge() {
  mkdir -p /etc/munge /run/munge /var/log/munge /var/lib/munge
  if [ ! -s /etc/munge/munge.key ]; then
    if command -v mungekey >/dev/null; then
      mungekey --create --keyfile=/etc/munge/munge.key
    else
      dd if=/dev/urandom of=/etc/munge/munge.key bs=1024 count=1 status=none
    fi
  fi
  chown munge:munge /etc/munge /etc/munge/munge.key /run/munge /var/log/munge /var/lib/munge
  chmod 0700 /etc/munge
  chmod 0400 /etc/munge/munge.key
  chmod 0755 /run/munge
}

note_started() {
  mkdir -p "$run"
  echo "$1" >>"$run/started"
}

start() {
  if ready; then
    echo "slurm-local: the cluster is up (node $node: $(node_state))"
    return 0
  fi
  install_packages
  write_config
  mkdir -p "$state/ctld" "$state/d" "$logs" /run/slurm
  chown slurm:slurm "$state/ctld" "$logs" /run/slurm
  prepare_munge

  if ! daemon_alive munged "$munge_pid"; then
    runuser -u munge -- /usr/sbin/munged --pid-file="$munge_pid" || unavailable "munged did not start"
    note_started munged
  fi
  # munged forks before it is ready: wait until a credential goes round.
  local deadline=$((SECONDS + 20))
  until timeout 5 munge -n 2>/dev/null | timeout 5 unmunge >/dev/null 2>&1; do
    [ $SECONDS -lt $deadline ] || { show_logs; unavailable "munged does not answer"; }
    sleep 0.2
  done

  if ! daemon_alive slurmctld "$ctld_pid"; then
    slurmctld || { show_logs; unavailable "slurmctld did not start"; }
    note_started slurmctld
  fi
  if ! daemon_alive slurmd "$slurmd_pid"; then
    slurmd -N "$node" || { show_logs; unavailable "slurmd did not start"; }
    note_started slurmd
  fi

  # Both daemons return 0 before they are ready, and may fail after: poll with a deadline.
  deadline=$((SECONDS + 60))
  local s
  while ! ready; do
    s="$(node_state)"
    case "$s" in
      drain* | down*)
        # A drained node stays drained across restarts; this node is ours to put back.
        timeout 5 scontrol update nodename="$node" state=resume >/dev/null 2>&1 || true
        ;;
    esac
    if [ $SECONDS -ge $deadline ]; then
      show_logs
      unavailable "the cluster did not come up within 60 s (node $node: ${s:-no answer from slurmctld})"
    fi
    daemon_alive slurmctld "$ctld_pid" || { show_logs; unavailable "slurmctld stopped after starting"; }
    daemon_alive slurmd "$slurmd_pid" || { show_logs; unavailable "slurmd stopped after starting"; }
    sleep 0.3
  done
  echo "slurm-local: the cluster is up (node $node: $(node_state); partition local; logs in $logs)"
}

stop_one() {
  local name="$1" pidfile="$2" pid
  pid="$(pid_of "$pidfile")"
  alive "$pid" || return 0
  kill "$pid" 2>/dev/null || true
  local deadline=$((SECONDS + 20))
  while alive "$pid"; do
    if [ $SECONDS -ge $deadline ]; then
      echo "slurm-local: $name ($pid) did not stop; killing it" >&2
      kill -KILL "$pid" 2>/dev/null || true
      break
    fi
    sleep 0.2
  done
  echo "slurm-local: stopped $name"
}

stop() {
  if [ ! -s "$run/started" ]; then
    echo "slurm-local: nothing to stop (no daemon was started by this script)"
    return 0
  fi
  # Reverse order of starting: the node, the controller, then the credentials.
  grep -qx slurmd "$run/started" && stop_one slurmd "$slurmd_pid"
  grep -qx slurmctld "$run/started" && stop_one slurmctld "$ctld_pid"
  grep -qx munged "$run/started" && stop_one munged "$munge_pid"
  rm -f "$run/started"
}

case "${1:-}" in
  start) start ;;
  stop) stop ;;
  status)
    if ready; then
      echo "slurm-local: up (node $node: $(node_state))"
    else
      echo "slurm-local: not running"
      exit 1
    fi
    ;;
  *)
    echo "usage: $0 start|stop|status" >&2
    exit 64
    ;;
esac
