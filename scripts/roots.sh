# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Debian systems in folders of their own, for builds and tests. Sourced behind scripts/common.sh; needs root.

# shellcheck disable=SC1091
own_suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
own_arch=$(dpkg --print-architecture)

# The mirror that this machine installs from.
mirror() {
    # shellcheck disable=SC2016 # apt fills these in
    apt-get indextargets --format '$(REPO_URI)' \
        'Created-By: Packages' 'Origin: Debian' "Codename: $own_suite" 'Component: main' | sort -u | head -n 1
}

# make_root ROOT SUITE ARCH[,ARCH]: with apt and little else, unless it is there. More than one architecture: programs of
# the first, libraries of any.
make_root() {
    [ ! -e "$1/etc/debian_version" ] || return 0
    mmdebstrap --quiet --mode=root --variant=apt --architectures="$3" "$2" "$1" "$(mirror)" &&
        cp -L /etc/resolv.conf "$1/etc/resolv.conf" &&
        echo "127.0.0.1 localhost" >"$1/etc/hosts"
}

# apt_in_root ROOT ARGUMENT...: apt-get within the root; what it says is shown when it fails.
apt_in_root() {
    local root=$1 log=$1/var/log/feedline-packages.log
    shift
    # A root can be made anew: nothing waits until its files are on the disk.
    { chroot "$root" apt-get update -qq && chroot "$root" env DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 \
        apt-get -qq -y --no-install-recommends -o Dpkg::Options::=--force-unsafe-io "$@"; } >"$log" 2>&1 ||
        { tail -n 20 "$log" >&2; return 1; }
}

# install_in_root ROOT PACKAGE...: those that are not there, saying which.
install_in_root() {
    local root=$1 package missing=()
    shift
    for package in "$@"; do
        [ "$(dpkg-query --root="$root" -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    echo "Into the root: ${missing[*]}"
    apt_in_root "$root" install "${missing[@]}"
}

# let_programs_run ARCH: the kernel starts those of another architecture by qemu-user. Where no service has told it to, as
# in a container, we do.
let_programs_run() {
    local kernel=/proc/sys/fs/binfmt_misc file name
    [ "$1" != "$own_arch" ] || return 0
    install_missing qemu-user-static arch-test
    ! arch-test "$1" >/dev/null 2>&1 || return 0
    [ -e $kernel/register ] || mount -t binfmt_misc binfmt_misc $kernel
    for file in /usr/lib/binfmt.d/qemu-*.conf; do
        name=$(basename "$file" .conf)
        [ -e "$kernel/$name" ] || cat "$file" >$kernel/register
    done
    arch-test "$1" >/dev/null || { echo "This machine cannot run programs of $1." >&2; return 1; }
}
