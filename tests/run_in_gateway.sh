#!/usr/bin/env bash
# Runs a test program inside a fresh simulated gateway, where the program's
# absolute paths (/dev/mtd0, /proc/mtd, /tmp) are the gateway's own.
set -eu
prog=$1; shift
root=$(cd "$(dirname "$0")/.." && pwd)
build=${GWSIM_BUILD:-$root/build}
gw=$(mktemp -d "$build/gw-unit.XXXXXX")
trap 'rm -rf "$gw"' EXIT
gwsim=${GWSIM:-$root/sim/gwsim}
"$gwsim" init "$gw" >/dev/null
cp "$prog" "$gw/tmp/"
"$gwsim" run "$gw" -- "/tmp/$(basename "$prog")" "$@"
