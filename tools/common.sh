# What ./run, ./test and the other commands share: sourced by bash from the project's root.
# shellcheck shell=bash
# shellcheck disable=SC2034 # the colours are for those who source this

packages=(
    cmake ninja-build g++ pkg-config qt6-base-dev libudev-dev libsystemd-dev libgtest-dev libgmock-dev
    dbus-daemon dbus-bin dbus-system-bus-common systemd util-linux mount iproute2 nodejs
    python3 python3-dbus python3-dbus-fast python3-dbusmock python3-gi python3-ntp python3-pytest python3-pytest-xdist
    python3-seccomp
    abigail-tools busybox dpkg-dev git gnupg net-tools procps strace tzdata wget
    libavahi-core7 libbsd0 libdaemon0 libxtables12)

# Services that run inside the device alone are only unpacked; the libraries that they need stand above.
mapfile -t device_packages <device/packages.list

# Colours are for people at a terminal, not for files.
if [ -t 1 ]; then
    bold=$'\033[1m' cyan=$'\033[36m' yellow=$'\033[33m' plain=$'\033[0m'
else
    bold='' cyan='' yellow='' plain=''
fi

say() { printf '\n%s%s%s\n' "$bold" "$*" "$plain"; }

# Ends with one line that says what to do.
die() {
    printf '%s\n' "$*" >&2
    exit 1
}

as_root() {
    if [ "$(id -u)" = 0 ]; then
        "$@"
    else
        sudo -- "$@"
    fi
}

# exec_as_root COMMAND...: in place of this script, which a signal then reaches.
exec_as_root() {
    if [ "$(id -u)" = 0 ]; then
        exec "$@"
    else
        exec sudo -- "$@"
    fi
}

# What a command asks first of all, so that nobody waits for packages and a build that are of no use to him.

# require_debian PACKAGE...: these can be installed here.
require_debian() {
    # shellcheck source=/dev/null
    (. /etc/os-release && [ "$ID $VERSION_ID" = "debian 12" ]) 2>/dev/null ||
        die "This is made for Debian 12; anywhere else it needs the like of these packages: $*"
}

require_root() {
    [ "$(id -u)" = 0 ] || command -v sudo >/dev/null || die "This needs root: run it as root, or install sudo."
    as_root true 2>/dev/null || die "This needs root, and sudo does not give it: run it as root."
}

require_build_directory() {
    local file
    mkdir -p build 2>/dev/null || true
    for file in build build/*.log build/*.lock build/*/CMakeCache.txt build/*/.ninja_log; do
        [ ! -e "$file" ] || [ -w "$file" ] ||
            die "build/ has things of another user: run this as that user, or remove build/."
    done
    [ -d build ] || die "Nothing can be written here: build/ can't be made."
}

# All that the simulated device needs but for packages.
require_simulated_device() {
    require_debian "${packages[@]}" "${device_packages[@]}"
    require_root
    as_root unshare --mount --pid --uts --net --ipc --fork true 2>/dev/null ||
        die "The simulated device needs the right to make namespaces: a container for it must be privileged."
    require_build_directory
    [ "$(stat -f -c %T build)" != overlayfs ] ||
        die "The simulated device can't keep its files on an overlay: in a container, put this directory on a volume."
}

# clock SECONDS: as people read it.
clock() { printf '%d:%02d' $(($1 / 60)) $(($1 % 60)); }

# counted LABEL LOG: keeps what a long command prints in LOG and shows how far it has come, by the counts that apt,
# ninja, ctest and pytest print: at a terminal in one line, into a file in a line each half minute.
counted() {
    local label=$1 log=$2 piece line='' status=0 count='' total='' tests=0 start=$SECONDS told=$SECONDS
    while [ $status = 0 ] || [ $status -gt 128 ]; do # above 128: nothing in this second
        status=0
        IFS= read -r -t 1 piece || status=$?
        line+=$piece
        if [ $status = 0 ] || { [ $status = 1 ] && [ -n "$line" ]; }; then
            printf '%s\n' "$line" >>"$log"
            if [[ $line =~ ^\[([0-9]+)/([0-9]+)\]\  || $line =~ ^\ *([0-9]+)/([0-9]+)\ Test\ +# ||
                $line =~ Retrieving\ file\ ([0-9]+)\ of\ ([0-9]+) ]]; then
                count=${BASH_REMATCH[1]} total=${BASH_REMATCH[2]}
            elif [[ $line =~ ^pmstatus:[^:]*:([0-9]+) ]]; then
                count=${BASH_REMATCH[1]} total='100 %'
            elif [[ $line =~ ^gw0\ \[([0-9]+)\] ]]; then
                total=${BASH_REMATCH[1]}
            elif [[ $line =~ ^\[gw[0-9]+\]\ \[ ]]; then
                count=$((tests += 1))
            fi
            line=
        fi
        if [ -t 1 ]; then
            printf '\r\033[K'
        elif [ $((SECONDS - told)) -lt 30 ]; then
            continue
        fi
        told=$SECONDS
        printf '  %s: %s%s, %s' "$label" "${count:-...}" "${total:+ of $total}" "$(clock $((SECONDS - start)))"
        [ -t 1 ] || echo
    done
    [ ! -t 1 ] || printf '\r\033[K'
    printf '  %s: %s\n' "$label" "$(clock $((SECONDS - start)))"
}

# locked NAME COMMAND...: while no other one of the project's commands does the same.
locked() {
    local lock
    exec {lock}>"build/$1.lock"
    flock --nonblock "$lock" || {
        say "Waiting for another run that is about the same"
        flock "$lock"
    }
    "${@:2}"
    exec {lock}>&-
}

apt() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o APT::Status-Fd=1 -o DPkg::Lock::Timeout=600 "$@" \
        </dev/null 2>&1
}

# install_packages [PACKAGE...]: the common ones and the given ones, where they are missing.
install_packages() { install_missing "${packages[@]}" "$@"; }

# install_missing PACKAGE...: the given ones, where they are missing.
install_missing() {
    require_debian "$@"
    [ -n "$(missing_packages "$@")" ] || return 0
    require_root
    require_build_directory
    locked packages fetch_and_install "$@"
}

missing_packages() {
    local package
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || echo "$package"
    done
}

fetch_and_install() {
    local missing log=build/packages.log
    mapfile -t missing < <(missing_packages "$@")
    [ ${#missing[@]} != 0 ] || return 0
    say "Installing missing packages: ${missing[*]}"
    : >"$log"
    apt update | counted "Fetching the package lists" "$log" || true # those of before may do
    apt --no-install-recommends --download-only install "${missing[@]}" | counted "Fetching packages" "$log" ||
        die "Packages can't be fetched, see $log: check the network and this machine's package sources, then try again."
    apt --no-install-recommends install "${missing[@]}" | counted "Installing packages" "$log" ||
        die "Packages can't be installed, see $log."
}

# debian_sources SUITE...: this machine's package sources of these suites, as lines of sources.list.
debian_sources() {
    # shellcheck disable=SC2016 # apt fills these in
    apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Identifier: Packages' |
        awk -v suites=" $* " 'index(suites, " " $2 " ") && $3 == "main" { print "deb", $0 }' | sort -u | grep . ||
        die "This machine has no package source of Debian 12 (bookworm, main)."
}

# The way by which this machine gets there, as lines of apt.conf.
apt_settings() {
    apt-config dump --format '%f "%v";%n' \
        Acquire::http Acquire::https Acquire::Check-Valid-Until Acquire::Check-Date
}

# Lays the device's own packages out below build/device-packages, where that has not been done yet.
unpack_device_packages() {
    [ "$(cat build/device-packages.list 2>/dev/null)" = "${device_packages[*]}" ] || locked packages unpack
}

unpack() {
    local root=build/device-packages
    [ "$(cat $root.list 2>/dev/null)" != "${device_packages[*]}" ] || return 0 # another run was faster
    say "Unpacking for the device: ${device_packages[*]}"
    rm -rf $root $root.list # whatever an interrupted run has left there
    device/fetch-services $root >/dev/null 2>&1 || {
        apt update >/dev/null
        device/fetch-services $root >/dev/null 2>&1
    } || die "Packages can't be fetched: check the network and this machine's package sources, then try again."
    echo "${device_packages[*]}" >$root.list
}

# untar OPTION...: what comes in, to its very end. By itself tar stops at that of the archive, ahead of what fills the
# last block, and whoever still writes that fails now and then.
untar() { tar -x "$@" && cat >/dev/null; }

# build PRESET [TARGET...]: configures, builds all or the given targets, and where the daemon is among them lays the
# install tree under build/PRESET/stage.
build() {
    say "Building ($1)"
    require_build_directory
    locked "$1" compile "$@"
}

compile() {
    local preset=$1 log=build/$1.log
    shift
    : >"$log"
    { cmake --preset "$preset" && cmake --build --preset "$preset" ${1+--target "$@"}; } 2>&1 |
        counted "Building ($preset)" "$log" || {
        grep -B 2 -A 12 -m 3 -E 'error|Error' "$log" >&2 || tail -n 20 "$log" >&2
        die "The build failed: see $log."
    }
    if [ $# = 0 ] || [[ " $* " == *" nodekeep "* ]]; then
        DESTDIR="$PWD/build/$preset/stage" cmake --install "build/$preset" >>"$log" 2>&1 ||
            die "The install tree can't be laid out: see $log."
    fi
}

# Tests wait more than they work, so more of them run at once than there are processors.
at_once=8

# class_tests PRESET [CTEST-OPTION...]
class_tests() {
    local log=build/class-tests-$1.log
    : >"$log" || die "$log can't be written."
    as_root ctest --preset "$1" -j "$at_once" "${@:2}" 2>&1 | counted "Class tests ($1)" "$log" || {
        grep -vE '^ +Start +[0-9]|Test +#.* Passed ' "$log" >&2
        die "Class tests failed: run one by ctest --preset $1 -R NAME."
    }
    grep 'tests passed' "$log"
}
