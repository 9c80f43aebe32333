#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# completion_test.sh FILE: what bash offers for feedlinectl.
set -euo pipefail
# shellcheck disable=SC1090
. "$1"

# offers WANTED WORD...: the last word is the one being completed.
offers() {
    local wanted=$1
    shift
    COMP_WORDS=(feedlinectl "$@")
    COMP_CWORD=$#
    _feedlinectl
    [ "${COMPREPLY[*]}" = "$wanted" ] || { echo "$*: \"${COMPREPLY[*]}\" instead of \"$wanted\"" >&2; exit 1; }
}

offers "status set gain restart quit idle" ""
offers "status set" s
offers "port address device" set ""
offers "hf airspy" set device ""
offers "50000" set port ""
offers "lna mixer vga linearity sensitivity lna-agc mixer-agc" gain ""
offers "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14" gain lna ""
offers "1 10 11 12 13 14 15" gain vga 1
offers "2 20 21" --user gain linearity 2
offers "on off" gain mixer-agc ""
offers "--user --system --wait --help --version" -
offers "--user --system --wait --help --json --watch" status --
offers "--force" restart --f
offers "" --wait ""
offers "status set gain restart quit idle" --wait 5 ""
offers "" gain lna 3 ""
