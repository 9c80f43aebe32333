# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2034
# Shared by ./run, ./test and their like: packages and builds. Sourced, with the working directory at the root.

# A build of the server and the emulated receivers: all that ./run installs.
server_packages="cmake ninja-build g++ pkg-config qt6-base-dev libairspyhf-dev libairspy-dev libsystemd-dev
libusb-1.0-0-dev libsndfile1-dev"

# What a build of the companions needs on top.
tool_packages="libcli11-dev nlohmann-json3-dev libcairo2-dev libkissfft-dev libboost-dev libopus-dev libzmq3-dev
cppzmq-dev libsoapysdr-dev"

# What ./test installs on top: for the tests, and mold, which links faster.
test_packages="$tool_packages libgtest-dev libgmock-dev
soapysdr-tools python3-soapysdr
airspyhf airspy sox python3-numpy spin valgrind dbus python3-dbusmock desktop-file-utils appstream man-db systemd file
xvfb xauth locales libxml2-utils
mold"

# What ./test --all installs on top: what its builds look for, and, beside the first of them, what the tests with the label
# heavy run: browsers, SDR programs.
cross_packages="g++-aarch64-linux-gnu"
heavy_packages="gnuradio gqrx-sdr rtl-433 python3-zmq imagemagick iproute2 pulseaudio xdotool
chromium firefox-esr nginx openssl"
# Node with npm may have come from elsewhere already, and then Debian's npm would not go beside it.
command -v npm >/dev/null || heavy_packages="$heavy_packages nodejs npm"

# What fuzz/run installs on top.
fuzz_packages="clang libclang-rt-14-dev"

# What scripts/lint installs on top of the packages for building everything.
lint_packages="clang clang-format clang-tidy libclang-rt-14-dev libbenchmark-dev shellcheck"

# install_missing PACKAGE...: installs those that are not there, saying which; asks for root only then.
install_missing() {
    local package missing=()
    for package in "$@"; do
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing: ${missing[*]}" >&2
    local root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "Installing packages needs root: run this as root, or install sudo." >&2; return 1; }
        root=(sudo)
    fi
    "${root[@]}" apt-get update -qq
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -qq -y --no-install-recommends "${missing[@]}" >&2
}

# configure_and_build PRESET [BUILD ARGUMENT...] [-- CMAKE ARGUMENT...]: quiet when there is nothing to do.
configure_and_build() {
    local preset=$1 build=() configure=()
    shift
    while [ $# -gt 0 ] && [ "$1" != -- ]; do build+=("$1"); shift; done
    [ $# -gt 0 ] && { shift; configure=("$@"); }
    [ -f "build/$preset/build.ninja" ] || cmake --preset "$preset" "${configure[@]}"
    cmake --build --preset "$preset" "${build[@]}"
}

# unit_targets FOLDER: what to make in a configured build for the programs and their unit tests alone.
unit_targets() {
    local folder
    for folder in programs emulator tools tests/*/; do
        folder=${folder%/}
        case $folder in tests/e2e | tests/packaging | tests/performance | tests/reliability) continue ;; esac
        [ ! -d "$1/$folder" ] || echo "$folder/all"
    done
    echo reliability_ToneCheckTest
}

# stage NAME COMMAND...: runs it, and says how long it took.
stage() {
    local name=$1 start=$SECONDS
    shift
    echo "== $name"
    "$@"
    echo "== $name: $((SECONDS - start)) s"
}

# The version stands in CMake's project and nowhere else.
project_version() {
    sed -n 's/^project(feedline VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt
}
