# shellcheck shell=bash
# Sourced by ./demo: makes, starts and stops the demonstration cluster.

# profile NAME TYPE LINE... writes one resource profile.
demo_profile() {
    local name=$1 type=$2
    shift 2
    printf '%s\n' "NAME=$name" "TYPE=$type" "$@" >"$ZEL_VORN_HOME/vorn/profile/$name.cap"
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
        FAILURE_THRESHOLD=3 FAILURE_INTERVAL=600 CURRENT_FAILURE=1 AUTO_START=always \
        REQUIRED_RESOURCES=store.shared PLACEMENT=restricted "HOSTING_MEMBERS=alpha beta" \
        ACTION_SCRIPT=billing.sh CHECK_INTERVAL=30 TARGET=ONLINE STATE@alpha=ONLINE \
        "ACL=owner:root:rwx,pgrp:root:r-x,user:daemon:r--,other::r--"
    demo_profile app.billing.web application IS_RUNNABLE=1 CURRENT_RCOUNT=0 RESTART_ATTEMPTS=5 \
        FAILURE_THRESHOLD=3 CURRENT_FAILURE=0 REQUIRED_RESOURCES=app.billing.db \
        PLACEMENT=balanced AUTO_START=restore TARGET=ONLINE STATE@beta=ONLINE "$everyone"
    demo_profile app.payroll application IS_RUNNABLE=1 CURRENT_RCOUNT=1 RESTART_ATTEMPTS=3 \
        FAILURE_THRESHOLD=2 CURRENT_FAILURE=0 AUTO_START=restore TARGET=ONLINE \
        STATE@gamma=ONLINE "ACL=owner:root:rwx,pgrp:root:rw-,other::r--"
    demo_profile app.reports application IS_RUNNABLE=1 CURRENT_RCOUNT=3 RESTART_ATTEMPTS=3 \
        FAILURE_THRESHOLD=2 CURRENT_FAILURE=2 REASON=failure TARGET=ONLINE \
        STATE@gamma=OFFLINE "$everyone"
    demo_profile app.scheduler application IS_RUNNABLE=1 CURRENT_RCOUNT=0 RESTART_ATTEMPTS=10 \
        FAILURE_THRESHOLD=2 CURRENT_FAILURE=0 TARGET=ONLINE STATE@alpha=UNKNOWN "$everyone"
    demo_profile mon.agent agent IS_RUNNABLE=0 CHECK_INTERVAL=10 AUTO_START=always \
        FAILURE_THRESHOLD=9 CURRENT_FAILURE@alpha=0 CURRENT_FAILURE@beta=0 CURRENT_FAILURE@gamma=2 \
        TARGET@alpha=ONLINE TARGET@beta=ONLINE TARGET@gamma=ONLINE \
        STATE@alpha=ONLINE STATE@beta=ONLINE STATE@gamma=ONLINE "$everyone"
}

# demo_start FOLDER BUILD: lays the node out in FOLDER, starts its daemon and waits until it serves.
demo_start() {
    local folder=$1 build=$2
    export ZEL_VORN_HOME=$folder/home VORN_NODE_CONF=$folder/node.conf PATH=$build/bin:$PATH
    mkdir -p "$ZEL_VORN_HOME/vorn/profile" "$ZEL_VORN_HOME/vorn/script" "$folder/run" "$folder/log"
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
    demo_profiles
    vornd >"$folder/vornd.out" 2>&1 &
    demo_pid=$!
    local waited=0
    until grep -q '^vornd: serving' "$folder/vornd.out"; do
        if ! kill -0 "$demo_pid" 2>/dev/null || [ "$waited" -ge 100 ]; then
            cat "$folder/vornd.out" >&2
            echo "demo: vornd did not start" >&2
            return 1
        fi
        sleep 0.1
        waited=$((waited + 1))
    done
}

demo_stop() {
    [ -n "${demo_pid:-}" ] || return 0
    kill "$demo_pid" 2>/dev/null || true
    wait "$demo_pid" 2>/dev/null || true
    demo_pid=
}
