# shellcheck shell=bash
# Sourced by ./demo: makes, starts and stops the demonstration cluster.

demo_pids=()

# demo_profile NAME TYPE LINE... writes one resource profile.
demo_profile() {
    local name=$1 type=$2
    shift 2
    printf '%s\n' "NAME=$name" "TYPE=$type" "$@" >"$demo_folder/profiles/$name.cap"
}

# demo_service NAME starts a process that plays the resource, and writes the action script by which
# vornd tells whether it runs.
demo_service() {
    local pid_file=$demo_folder/run/$1.pid
    sleep 86400 >/dev/null 2>&1 &
    disown "$!" # its end is no news for the shell
    demo_pids+=("$!")
    echo "$!" >"$pid_file"
    cat >"$ZEL_VORN_HOME/vorn/script/$1.sh" <<EOF
#!/bin/sh
# Action script of $1: its process's number is in a file.
[ "\$1" = check ] || exit 2
read -r pid <'$pid_file' && kill -0 "\$pid" 2>/dev/null
EOF
    chmod 755 "$ZEL_VORN_HOME/vorn/script/$1.sh"
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
        REQUIRED_RESOURCES=store.shared PLACEMENT=restricted "HOSTING_MEMBERS=alpha beta" \
        ACTION_SCRIPT=app.billing.db.sh CHECK_INTERVAL=1 TARGET=ONLINE STATE@alpha=ONLINE \
        "ACL=owner:root:rwx,pgrp:root:r-x,user:daemon:r--,other::r--"
    demo_profile app.billing.web application IS_RUNNABLE=1 CURRENT_RCOUNT=0 RESTART_ATTEMPTS=5 \
        FAILURE_THRESHOLD=3 CURRENT_FAILURE@alpha=0 REQUIRED_RESOURCES=app.billing.db \
        PLACEMENT=balanced AUTO_START=restore ACTION_SCRIPT=app.billing.web.sh CHECK_INTERVAL=1 \
        TARGET=ONLINE STATE@alpha=ONLINE "$everyone"
    demo_profile app.payroll application IS_RUNNABLE=1 CURRENT_RCOUNT=1 RESTART_ATTEMPTS=3 \
        FAILURE_THRESHOLD=2 CURRENT_FAILURE@alpha=0 AUTO_START=restore TARGET=ONLINE \
        ACTION_SCRIPT=app.payroll.sh CHECK_INTERVAL=1 STATE@alpha=ONLINE \
        "ACL=owner:root:rwx,pgrp:root:rw-,other::r--"
    demo_profile app.reports application IS_RUNNABLE=1 CURRENT_RCOUNT=3 RESTART_ATTEMPTS=3 \
        FAILURE_THRESHOLD=2 CURRENT_FAILURE=2 REASON=failure TARGET=ONLINE \
        STATE@gamma=OFFLINE "$everyone"
    demo_profile app.scheduler application IS_RUNNABLE=1 CURRENT_RCOUNT=0 RESTART_ATTEMPTS=10 \
        FAILURE_THRESHOLD=2 CURRENT_FAILURE=0 TARGET=ONLINE STATE@alpha=UNKNOWN "$everyone"
    demo_profile mon.agent agent IS_RUNNABLE=0 AUTO_START=always \
        ACTION_SCRIPT=mon.agent.sh CHECK_INTERVAL=1 \
        FAILURE_THRESHOLD=9 CURRENT_FAILURE@alpha=0 CURRENT_FAILURE@beta=0 CURRENT_FAILURE@gamma=2 \
        TARGET@alpha=ONLINE TARGET@beta=ONLINE TARGET@gamma=ONLINE \
        STATE@alpha=ONLINE STATE@beta=ONLINE STATE@gamma=ONLINE "$everyone"
}

# demo_vornd starts the node's daemon and waits until it serves.
demo_vornd() {
    local out=$demo_folder/vornd.out waited=0
    vornd >"$out" 2>&1 &
    demo_vornd_pid=$!
    demo_pids+=("$demo_vornd_pid")
    until grep -qs '^vornd: serving' "$out"; do
        if ! kill -0 "$demo_vornd_pid" 2>/dev/null || [ "$waited" -ge 100 ]; then
            cat "$out" >&2
            echo "demo: vornd did not start" >&2
            return 1
        fi
        sleep 0.1
        waited=$((waited + 1))
    done
}

# demo_start FOLDER BUILD: lays the node out in FOLDER, registers its resources and starts its
# daemon.
demo_start() {
    local build=$2 name
    demo_folder=$1
    export ZEL_VORN_HOME=$demo_folder/home VORN_NODE_CONF=$demo_folder/node.conf
    export PATH=$build/bin:$PATH
    mkdir -p "$ZEL_VORN_HOME/vorn/script" "$demo_folder"/{run,log,profiles}
    cp -R "$build/home/." "$ZEL_VORN_HOME/"
    cat >"$VORN_NODE_CONF" <<EOF
node_name   = alpha
node_number = 1
nodes       = 1:alpha, 2:beta, 4:gamma
runtime_dir = run
log_dir     = log
cluster_registry = dir:zks
local_registry   = dir:zkl
EOF
    for name in app.billing.db app.billing.web app.payroll mon.agent; do demo_service "$name"; done
    demo_profiles
    vornreg init
    vornreg register "$demo_folder"/profiles/*.cap
    demo_vornd
}

# demo_await_failure COMMAND... runs the command until it fails; gives up after ten seconds.
demo_await_failure() {
    local waited=0
    while "$@"; do
        [ "$waited" -lt 100 ] || return 1
        sleep 0.1
        waited=$((waited + 1))
    done
}

demo_stop() {
    local pid
    for pid in "${demo_pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    for pid in "${demo_pids[@]}"; do wait "$pid" 2>/dev/null || true; done
    demo_pids=()
}
