# shellcheck shell=bash
# Sourced by ./demo: makes, starts and stops the demonstration cluster.

demo_nodes=(1:alpha 2:beta 4:gamma)

# demo_profile NAME TYPE LINE... writes one resource profile.
demo_profile() {
    local name=$1 type=$2
    shift 2
    printf '%s\n' "NAME=$name" "TYPE=$type" "$@" >"$demo_folder/profiles/$name.cap"
}

# demo_process NAME COMMAND... starts a process in the background; run/NAME.pid holds its number.
demo_process() {
    local pid_file=$demo_folder/run/$1.pid
    shift
    "$@" &
    echo "$!" >"$pid_file"
    disown "$!" # its end is no news for the shell
}

# demo_service NAME NODE... starts a process on each of the nodes that plays the resource there, and
# writes the action script by which their vornd tell whether it runs.
demo_service() {
    local name=$1 node
    shift
    for node in "$@"; do demo_process "$name.$node" sleep 86400 >/dev/null 2>&1; done
    cat >"$ZEL_VORN_HOME/vorn/script/$name.sh" <<EOF
#!/bin/sh
# Action script of $name: its process's number is in a file.
[ "\$1" = check ] || exit 2
read -r pid <"$demo_folder/run/$name.\$VORN_NODE.pid" && kill -0 "\$pid" 2>/dev/null
EOF
    chmod 755 "$ZEL_VORN_HOME/vorn/script/$name.sh"
}

demo_profiles() {
    local everyone="ACL=owner:root:rwx,pgrp:root:r-x,other::r--"
    demo_profile net.alpha.vip address IS_RUNNABLE=0 TARGET@alpha=ONLINE STATE@alpha=ONLINE \
        FAILURE_THRESHOLD=3 CURRENT_FAILURE@alpha=0 \
        HOSTING_MEMBERS=alpha PLACEMENT=favored "$everyone"
    demo_profile net.beta.vip address IS_RUNNABLE=0 TARGET@beta=ONLINE STATE@beta=ONLINE \
        FAILURE_THRESHOLD=3 CURRENT_FAILURE@beta=0 \
        HOSTING_MEMBERS=beta PLACEMENT=favored "$everyone"
    demo_profile net.gamma.vip address IS_RUNNABLE=0 TARGET@gamma=ONLINE STATE@gamma=OFFLINE \
        FAILURE_THRESHOLD=3 CURRENT_FAILURE@gamma=0 HOSTING_MEMBERS=gamma PLACEMENT=favored "$everyone"
    demo_profile net.listener listener IS_RUNNABLE=0 CHECK_INTERVAL=60 FAILURE_THRESHOLD=5 \
        TARGET@alpha=ONLINE TARGET@beta=ONLINE TARGET@gamma=ONLINE \
        STATE@alpha=ONLINE STATE@beta=ONLINE STATE@gamma=ONLINE \
        CURRENT_FAILURE@alpha=0 CURRENT_FAILURE@beta=1 CURRENT_FAILURE@gamma=0 "$everyone"
    demo_profile store.shared filesystem IS_RUNNABLE=0 CHECK_INTERVAL=30 FAILURE_THRESHOLD=5 \
        CURRENT_FAILURE@alpha=0 CURRENT_FAILURE@beta=0 CURRENT_FAILURE@gamma=5 \
        TARGET@alpha=ONLINE TARGET@beta=ONLINE TARGET@gamma=ONLINE \
        STATE@alpha=ONLINE STATE@beta=ONLINE STATE@gamma=OFFLINE "$everyone"
    demo_profile store.backup.volume.nightly filesystem IS_RUNNABLE=1 CURRENT_RCOUNT=0 \
        RESTART_ATTEMPTS=1 FAILURE_THRESHOLD=1 CURRENT_FAILURE=0 TARGET=OFFLINE STATE@beta=OFFLINE \
        "ACL=owner:root:rwx,pgrp:operators-of-the-backup-site:r-x,other::---"
    demo_profile app.billing.db application IS_RUNNABLE=1 CURRENT_RCOUNT=2 RESTART_ATTEMPTS=5 \
        FAILURE_THRESHOLD=3 FAILURE_INTERVAL=600 CURRENT_FAILURE@alpha=1 AUTO_START=always \
        REQUIRED_RESOURCES=store.shared PLACEMENT=restricted HOSTING_MEMBERS=alpha \
        ACTION_SCRIPT=app.billing.db.sh CHECK_INTERVAL=1 TARGET=ONLINE STATE@alpha=ONLINE \
        "ACL=owner:root:rwx,pgrp:root:r-x,user:daemon:r--,other::r--"
    demo_profile app.billing.web application IS_RUNNABLE=1 CURRENT_RCOUNT=0 RESTART_ATTEMPTS=5 \
        FAILURE_THRESHOLD=3 CURRENT_FAILURE@alpha=0 REQUIRED_RESOURCES=app.billing.db \
        PLACEMENT=balanced AUTO_START=restore ACTION_SCRIPT=app.billing.web.sh CHECK_INTERVAL=1 \
        HOSTING_MEMBERS=alpha TARGET=ONLINE STATE@alpha=ONLINE "$everyone"
    demo_profile app.payroll application IS_RUNNABLE=1 CURRENT_RCOUNT=1 RESTART_ATTEMPTS=3 \
        FAILURE_THRESHOLD=2 CURRENT_FAILURE@alpha=0 AUTO_START=restore TARGET=ONLINE \
        ACTION_SCRIPT=app.payroll.sh CHECK_INTERVAL=1 HOSTING_MEMBERS=alpha STATE@alpha=ONLINE \
        "ACL=owner:root:rwx,pgrp:root:rw-,other::r--"
    demo_profile app.reports application IS_RUNNABLE=1 CURRENT_RCOUNT=3 RESTART_ATTEMPTS=3 \
        FAILURE_THRESHOLD=2 CURRENT_FAILURE=2 REASON=failure TARGET=ONLINE \
        STATE@gamma=OFFLINE "$everyone"
    demo_profile app.scheduler application IS_RUNNABLE=1 CURRENT_RCOUNT=0 RESTART_ATTEMPTS=10 \
        FAILURE_THRESHOLD=2 CURRENT_FAILURE@beta=0 TARGET=ONLINE STATE@beta=ONLINE \
        ACTION_SCRIPT=app.scheduler.sh CHECK_INTERVAL=1 HOSTING_MEMBERS=beta "$everyone"
    demo_profile mon.agent agent IS_RUNNABLE=0 AUTO_START=always \
        ACTION_SCRIPT=mon.agent.sh CHECK_INTERVAL=1 \
        FAILURE_THRESHOLD=9 CURRENT_FAILURE@alpha=0 CURRENT_FAILURE@beta=0 CURRENT_FAILURE@gamma=2 \
        TARGET@alpha=ONLINE TARGET@beta=ONLINE TARGET@gamma=ONLINE \
        STATE@alpha=ONLINE STATE@beta=ONLINE STATE@gamma=ONLINE "$everyone"
}

# demo_daemon PROGRAM NODE starts a daemon of the node and waits until it serves.
demo_daemon() {
    local out=$demo_folder/$2/$1.out waited=0
    VORN_NODE_CONF=$demo_folder/$2/node.conf demo_process "$1.$2" "$1" >"$out" 2>&1
    until grep -qs "^$1: serving" "$out"; do
        if ! demo_runs "$1.$2" || [ "$waited" -ge 100 ]; then
            cat "$out" >&2
            echo "demo: $1 of $2 did not start" >&2
            return 1
        fi
        sleep 0.1
        waited=$((waited + 1))
    done
}

# demo_runs NAME tells whether the process of run/NAME.pid is there.
demo_runs() {
    local pid
    read -r pid <"$demo_folder/run/$1.pid" && kill -0 "$pid" 2>/dev/null &&
        ! grep -qs '^State:.Z' "/proc/$pid/status"
}

# demo_node NUMBER NAME lays a node out: what it shares with the others lies above its own folder.
demo_node() {
    mkdir -p "$demo_folder/$2"/{run,log}
    cat >"$demo_folder/$2/node.conf" <<EOF
node_name     = $2
node_number   = $1
nodes         = 1:alpha, 2:beta, 4:gamma
runtime_dir   = run
log_dir       = log
cluster_dir   = ../cluster
recovery_time = 2
cluster_registry = dir:../zks
local_registry   = dir:zkl
EOF
}

# demo_tools writes what "./demo shell" offers beside the system's own programs.
demo_tools() {
    mkdir "$demo_folder/bin"
    cat >"$demo_folder/bin/on" <<EOF
#!/bin/sh
# usage: on NODE COMMAND...   runs a command as if on that node of the demonstration cluster
export VORN_NODE_CONF="$demo_folder/\$1/node.conf"
shift
exec "\$@"
EOF
    cat >"$demo_folder/bin/start-vornd" <<EOF
#!/bin/sh
# usage: start-vornd NODE   starts the daemon of that node again
on "\$1" vornd >"$demo_folder/\$1/vornd.out" 2>&1 &
echo "\$!" >"$demo_folder/run/vornd.\$1.pid"
EOF
    chmod 755 "$demo_folder"/bin/*
}

# demo_start FOLDER BUILD: lays the nodes out in FOLDER, registers their resources and starts their
# daemons. Commands run on alpha then.
demo_start() {
    local build=$2 node
    demo_folder=$1
    export ZEL_VORN_HOME=$demo_folder/home VORN_NODE_CONF=$demo_folder/alpha/node.conf
    export PATH=$build/bin:$demo_folder/bin:$PATH
    mkdir -p "$ZEL_VORN_HOME/vorn/script" "$demo_folder"/{run,profiles}
    cp -R "$build/home/." "$ZEL_VORN_HOME/"
    demo_tools
    for node in "${demo_nodes[@]}"; do demo_node "${node%:*}" "${node#*:}"; done
    demo_service app.billing.db alpha
    demo_service app.billing.web alpha
    demo_service app.payroll alpha
    demo_service app.scheduler beta
    demo_service mon.agent alpha beta gamma
    demo_profiles
    vornreg init
    vornreg register "$demo_folder"/profiles/*.cap
    for node in "${demo_nodes[@]}"; do demo_daemon vornd "${node#*:}"; done
    demo_daemon evmd alpha
}

# demo_await COMMAND... runs the command until it succeeds, demo_await_failure until it fails; they
# give up after ten seconds.
demo_await() {
    local waited=0
    until "$@"; do
        [ "$waited" -lt 100 ] || return 1
        sleep 0.1
        waited=$((waited + 1))
    done
}
demo_fails() { ! "$@"; }
demo_await_failure() { demo_await demo_fails "$@"; }

# demo_stop ends all processes, also those that somebody has stopped or that do not listen.
demo_stop() {
    local file signal
    [ -d "${demo_folder:-}/run" ] || return 0
    for signal in TERM CONT; do demo_signal "$signal"; done
    for file in "$demo_folder"/run/*.pid; do
        [ -e "$file" ] || continue
        demo_await_failure demo_runs "$(basename "$file" .pid)" || true
    done
    demo_signal KILL
}
demo_signal() {
    local file pid
    for file in "$demo_folder"/run/*.pid; do
        [ -e "$file" ] || continue
        read -r pid <"$file"
        kill -s "$1" "$pid" 2>/dev/null || true
    done
}
