# A Slurm of one node on the loopback address, for checks. To be sourced.
# shellcheck shell=bash
#
# Its files are in the folder $cluster, which start_cluster makes; nothing else on the machine is
# changed, and stop_cluster ends all that was started. Needs root, as slurmd does.

start_cluster() {
    cluster=$(mktemp -d)
    chmod 755 "$cluster"
    mkdir "$cluster/state" "$cluster/spool"
    start_munge
    write_slurm_conf > "$cluster/slurm.conf"
    export SLURM_CONF=$cluster/slurm.conf
    slurmctld -c -L "$cluster/slurmctld.log"
    slurmd -L "$cluster/slurmd.log"
    wait_for 30 node_is_idle || {
        cat "$cluster"/*.log >&2
        return 1
    }
}

stop_cluster() {
    scontrol shutdown > /dev/null 2>&1 || true
    wait_for 20 has_ended slurmd || true
    wait_for 20 has_ended slurmctld || true
    kill "$(cat "$cluster/munged.pid")" 2> /dev/null || true
    wait_for 20 rm -rf "$cluster" 2> /dev/null # munged writes a file as it ends
}

# A key and a socket of its own: a munged of the machine is left alone.
start_munge() {
    install -d -m 700 "$cluster/key"
    install -d -m 755 "$cluster/munge"
    dd if=/dev/urandom of="$cluster/key/munge.key" bs=128 count=1 status=none
    chmod 600 "$cluster/key/munge.key"
    munged --force --key-file="$cluster/key/munge.key" --socket="$cluster/munge/socket" \
        --pid-file="$cluster/munged.pid" --log-file="$cluster/munged.log" \
        --seed-file="$cluster/key/munged.seed"
}

write_slurm_conf() {
    cat << END
ClusterName=check
SlurmctldHost=$(hostname -s)(127.0.0.1)
SlurmUser=root
AuthType=auth/munge
AuthInfo=socket=$cluster/munge/socket
CredType=cred/munge
SlurmctldPort=$((20000 + $$ % 20000))
SlurmdPort=$((20001 + $$ % 20000))
StateSaveLocation=$cluster/state
SlurmdSpoolDir=$cluster/spool
SlurmctldPidFile=$cluster/slurmctld.pid
SlurmdPidFile=$cluster/slurmd.pid
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
MpiDefault=none
ReturnToService=2
SchedulerParameters=requeue_delay=1,sched_interval=2
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
NodeName=$(hostname -s) NodeAddr=127.0.0.1 CPUs=$(nproc) State=UNKNOWN
PartitionName=all Nodes=ALL Default=YES MaxTime=INFINITE State=UP
END
}

node_is_idle() {
    [ "$(sinfo --noheader --format=%t 2> /dev/null)" = idle ]
}

has_ended() {
    ! kill -0 "$(cat "$cluster/$1.pid" 2> /dev/null)" 2> /dev/null
}

# usage: wait_for SECONDS COMMAND [ARGUMENT...]
wait_for() {
    local deadline=$((SECONDS + $1))
    shift
    until "$@"; do
        [ $SECONDS -lt $deadline ] || return 1
        sleep 0.5
    done
}
