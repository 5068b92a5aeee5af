#!/usr/bin/env bash
# Sets everything up and runs sys on a fresh simulated gateway in ./gateway.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh" try
# Trying needs sys, the gateway's tools and romtool; the tests are built by
# scripts/test.sh.
cmake -S "$root" -B "$root/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSYS_TESTS=OFF >/dev/null
cmake --build "$root/build" -j"$(nproc)" >/dev/null
gw=${1:-$root/gateway}
"$root/sim/gwsim" init "$gw"
run() {
	printf '\n$ %s\n' "$*"
	"$root/sim/gwsim" run "$gw" -- "$@" || true
}
run sys
run sys times
run sys times address1 ntp1.example.net
run sys debuginfo
printf '\nThe gateway is %s; try more with:\n  %s/sim/gwsim run %s -- sys <command> [arguments...]\n  %s/sim/gwsim shell %s\n' \
	"$gw" "$root" "$gw" "$root" "$gw"
