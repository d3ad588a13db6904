#!/bin/bash
# one-node-slurm.sh COMMAND...: runs a command, "snakemake --profile slurm" for instance, under a Slurm of this machine
# alone, to see the workflow go through a queue. From Debian: slurmctld, slurmd, slurm-client, munge. As root, without
# systemd; everything lies in a folder of its own, and the daemons end with the command.
set -euo pipefail
home=$(mktemp -d)
host=$(hostname -s)
export SLURM_CONF="$home/slurm.conf"

finish() {
    local file
    for file in slurmd slurmctld munged; do
        [ -s "$home/$file.pid" ] && kill "$(cat "$home/$file.pid")" || true
    done
    sleep 1
    rm -rf "$home"
}
trap finish EXIT

mkdir "$home/state" "$home/spool" "$home/munge"
chmod 755 "$home"
chmod 711 "$home/munge"
(umask 077; head -c 1024 /dev/urandom > "$home/munge.key")
munged --force --key-file="$home/munge.key" --socket="$home/munge/socket" --pid-file="$home/munged.pid" \
    --log-file="$home/munged.log" --seed-file="$home/munged.seed"

cat > "$SLURM_CONF" <<CONF
ClusterName=one
SlurmctldHost=$host(127.0.0.1)
SlurmUser=root
AuthInfo=socket=$home/munge/socket
StateSaveLocation=$home/state
SlurmdSpoolDir=$home/spool
SlurmctldPidFile=$home/slurmctld.pid
SlurmdPidFile=$home/slurmd.pid
SlurmctldLogFile=$home/slurmctld.log
SlurmdLogFile=$home/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
MpiDefault=none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU_Memory
ReturnToService=2
NodeName=$host NodeAddr=127.0.0.1 CPUs=$(nproc) RealMemory=1024 State=UNKNOWN
PartitionName=all Nodes=ALL Default=YES State=UP
CONF
slurmctld
slurmd
for _ in $(seq 60); do
    sinfo --noheader --format=%T 2>/dev/null | grep -q idle && break
    sleep 0.5
done
sinfo || { tail "$home"/*.log; exit 1; }
"$@"
