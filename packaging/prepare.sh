# shellcheck shell=bash
# Sourced by ./check, ./demo and the CI: sees to it that the machine has what the build needs.
# Missing packages are named and installed through the system's package manager, never otherwise.

# Debian packages that the build and the tests need, each with a file or program that shows it.
# shellcheck disable=SC2034  # used by those who source this
vorn_needs="
cmake:cmake
ninja-build:ninja
g++:g++
libc-dev-bin:gencat
libgtest-dev:/usr/include/gtest/gtest.h
python3:python3
"

# vorn_missing "package:witness ..." prints the packages whose witness is not there.
vorn_missing() {
    local entry package witness
    for entry in $1; do
        package=${entry%%:*}
        witness=${entry#*:}
        case $witness in
        /*) [ -e "$witness" ] || printf '%s ' "$package" ;;
        *) command -v "$witness" >/dev/null 2>&1 || printf '%s ' "$package" ;;
        esac
    done
}

# vorn_prepare "package:witness ..." installs what is missing, or says what to install and fails.
vorn_prepare() {
    local missing as_root=""
    missing=$(vorn_missing "$1")
    [ -n "$missing" ] || return 0
    if ! command -v apt-get >/dev/null 2>&1; then
        echo "Missing: $missing- install these packages (Debian names) and run this again." >&2
        return 1
    fi
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null 2>&1; then
            echo "Missing: $missing- run as root: apt-get install $missing" >&2
            return 1
        fi
        as_root=sudo
    fi
    echo "Installing with apt-get: $missing"
    # shellcheck disable=SC2086
    $as_root apt-get update -qq && DEBIAN_FRONTEND=noninteractive \
        $as_root apt-get install -y -qq --no-install-recommends $missing >/dev/null
}

# vorn_build FOLDER [cmake options...] configures and builds.
vorn_build() {
    local folder=$1
    shift
    cmake -S "$VORN_ROOT" -B "$folder" -G Ninja "$@" >"$folder.configure.log" 2>&1 || {
        cat "$folder.configure.log" >&2
        return 1
    }
    rm -f "$folder.configure.log"
    ninja -C "$folder" --quiet
}
