#!/usr/bin/env bash
# Usage: fleet.sh WZ FLEET_PAGE
# Runs the recipes of the page, as they stand there, on this machine. What they put together is what one
# run without shares finds, to the octet. 77, which ctest shows as skipped: a program is not installed.
set -euo pipefail
wz=$(realpath "$1") page=$(realpath "$2")
for program in parallel slurmctld slurmd sbatch; do
  command -v "$program" >/dev/null || { echo "$program is not installed"; exit 77; }
done

folder=$(mktemp -d)
daemons=()
finish() {
  for daemon in "${daemons[@]}"; do kill "$daemon" 2>/dev/null || true; done
  wait
  rm -rf "$folder"
}
trap finish EXIT
cd "$folder"
export PATH=${wz%/*}:$PATH
unset WZ_TERMINAL

# The block of code below the heading $1 of the page, the $2nd.
block() {
  awk -v heading="$1" -v wanted="$2" '
    /^## / { inside = $0 == "## " heading }
    /^```/ { if (open) { open = 0 } else { open = 1; if (inside) ++count }; next }
    inside && open && count == wanted { print }' "$page"
}

make_packages() {
  local id sponsor
  for id in alpha beta gamma delta epsilon; do
    sponsor=123456
    [ "$id" != delta ] || sponsor=654321
    wz new "made/$id" --sponsor "$sponsor" >/dev/null
    wz pack "made/$id" -o "$id.zip" >/dev/null
  done
  head -c 2000 alpha.zip >zeta.zip
}

# 60 terminals, 12 of them different.
make_fleet() {
  local i
  for ((i = 0; i < 60; i++)); do
    printf '{"name": "t%d", "serial": "%d", "model": "T30", "display": {"width": %d, "height": 800, "colour": true}, ' \
      "$i" "$i" $((320 + i % 6))
    printf '"memory": 524288, "keys": 0, "touch": true, "sponsor": {"id": "%s", "text": "one"}}\n' \
      "$([ $((i % 4)) -lt 2 ] && echo 123456 || echo 654321)"
  done
}

# What is refused somewhere ends with 1.
whole() {
  local code=0
  # shellcheck disable=SC2035 # as the page has it
  wz matrix *.zip --terminals fleet.jsonl -o whole.jsonl >/dev/null || code=$?
  test "$code" -eq 1
}

same() {
  cmp "$1" whole.jsonl || { echo "$2: not what one run finds"; exit 1; }
  echo "$2: $(wc -l <"$1") lines, the same as those of one run"
  rm -f "$1" share.*.jsonl
}

start_cluster() {
  local port=$((20000 + $$ % 20000)) try
  mkdir cluster cluster/state cluster/spool
  cat >cluster/slurm.conf <<CONF
ClusterName=test
SlurmctldHost=$(hostname)(127.0.0.1)
SlurmUser=$(id -un)
SlurmdUser=$(id -un)
AuthType=auth/none
CredType=cred/none
SlurmctldPort=$port
SlurmdPort=$((port + 1))
SlurmctldPidFile=$folder/cluster/slurmctld.pid
SlurmdPidFile=$folder/cluster/slurmd.pid
SlurmctldLogFile=$folder/cluster/slurmctld.log
SlurmdLogFile=$folder/cluster/slurmd.log
StateSaveLocation=$folder/cluster/state
SlurmdSpoolDir=$folder/cluster/spool
ProctrackType=proctrack/pgid
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
MpiDefault=none
SwitchType=switch/none
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
ReturnToService=2
NodeName=$(hostname) NodeAddr=127.0.0.1 CPUs=$(nproc)
PartitionName=all Nodes=ALL Default=YES MaxTime=INFINITE State=UP
CONF
  export SLURM_CONF=$folder/cluster/slurm.conf
  slurmctld -D >cluster/slurmctld.out 2>&1 &
  daemons+=($!)
  slurmd -D >cluster/slurmd.out 2>&1 &
  daemons+=($!)
  for ((try = 0; try < 300; try++)); do
    [ "$(sinfo -h -o %T 2>/dev/null)" != idle ] || return 0
    sleep 0.1
  done
  cat cluster/*.log cluster/*.out
  exit 1
}

make_packages
make_fleet >fleet.jsonl
whole

echo "2/:" >machines # this one, without a way to it
block "GNU parallel" 1 >parallel.sh
sh -eu parallel.sh >parallel.log 2>&1 || [ $? -eq 1 ] || { cat parallel.log; exit 1; }
same found.jsonl "GNU parallel"

start_cluster
block "Slurm" 1 >fleet.sbatch
block "Slurm" 2 >slurm.sh
sh -eu slurm.sh >slurm.log 2>&1 || [ $? -eq 1 ] || { cat slurm.log; exit 1; }
same found.jsonl "Slurm"
