# What ./run, ./test and bench/run share: sourced by bash from the project's root.
# shellcheck shell=bash
# shellcheck disable=SC2034 # the colours are for those who source this

packages=(
    cmake ninja-build g++ pkg-config qt6-base-dev libudev-dev libgtest-dev libgmock-dev
    dbus-daemon dbus-bin dbus-system-bus-common systemd util-linux mount iproute2
    python3 python3-dbus python3-dbusmock python3-gi python3-ntp python3-pytest python3-pytest-xdist
    busybox gnupg net-tools procps strace tzdata wget
    libavahi-core7 libbsd0 libdaemon0 libxtables12)

# Services that run inside the device alone. Installed, they would take over the machine's own network, so they are only
# unpacked; the libraries that they need stand above.
device_packages=(connman avahi-daemon ntpsec)

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

# Asked first of all, so that nobody waits for a build that is of no use to him.
[ "$(id -u)" = 0 ] || command -v sudo >/dev/null || die "This needs root: run it as root, or install sudo."

as_root() {
    if [ "$(id -u)" = 0 ]; then
        "$@"
    else
        sudo -- "$@"
    fi
}

# install_packages [PACKAGE...]: the common ones and the given ones, where they are missing.
install_packages() {
    local package missing=()
    command -v apt-get >/dev/null || die "This is made for Debian 12; elsewhere install by hand: ${packages[*]} $*"
    for package in "${packages[@]}" "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
    [ ${#missing[@]} = 0 ] && return
    say "Installing missing packages: ${missing[*]}"
    as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q >/dev/null ||
        die "The package lists can't be fetched: check the network and /etc/apt/sources.list, then try again."
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}" >/dev/null ||
        die "Packages can't be installed: see apt-get's message above, then try again."
}

# Lays the device's own packages out below build/device-packages, where that has not been done yet.
unpack_device_packages() {
    local root=build/device-packages
    [ "$(cat $root.list 2>/dev/null)" = "${device_packages[*]}" ] && return
    say "Unpacking for the device: ${device_packages[*]}"
    rm -rf $root $root.list
    mkdir -p $root/archives
    (
        cd $root/archives
        apt-get download -q "${device_packages[@]}" >/dev/null 2>&1 || {
            as_root apt-get update -q >/dev/null
            apt-get download -q "${device_packages[@]}" >/dev/null
        }
    ) || die "Packages can't be fetched: check the network and /etc/apt/sources.list, then try again."
    for archive in "$root"/archives/*.deb; do
        dpkg-deb -x "$archive" $root
    done
    # Of "/etc" the services read their own directories; units and bus activation are for the machine's service manager.
    mv $root/etc $root/archives/etc
    mkdir $root/etc
    mv $root/archives/etc/{avahi,connman,ntpsec} $root/etc/
    # shellcheck disable=SC2115 # set above, and never empty
    rm -rf $root/archives $root/lib $root/usr/share/dbus-1/system-services $root/usr/share/doc
    echo "${device_packages[*]}" >$root.list
}

# build PRESET [TARGET...]: configures, builds all or the given targets, and lays the install tree under
# build/PRESET/stage.
build() {
    local preset=$1 log=build/$1.log
    shift
    say "Building ($preset)"
    mkdir -p build
    : 2>/dev/null >"$log" || die "build/ belongs to another user: run this as that user, or remove build/."
    if ! { cmake --preset "$preset" && cmake --build --preset "$preset" ${1+--target "$@"}; } >"$log" 2>&1; then
        grep -B 2 -A 12 -m 3 -E 'error|Error' "$log" >&2 || tail -n 20 "$log" >&2
        die "The build failed: see $log."
    fi
    DESTDIR="$PWD/build/$preset/stage" cmake --install "build/$preset" >>"$log" 2>&1 ||
        die "The install tree can't be laid out: see $log."
}
