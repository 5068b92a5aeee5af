#!/usr/bin/env bash
# What the simulated gateway costs: `gwsim run` beside running the same
# binary directly on the workstation, interleaved in the same run so that
# load on the machine hits both alike, and a fresh `gwsim init`.
# Usage: bench/gwsim.sh [RUNS]   (default 300; uses build-bench/, Release)
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
runs=${1:-300}
build=${GWSIM_BUILD:-$root/build-bench}
if [ -z "${GWSIM_BUILD:-}" ]; then
	cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DSYS_TESTS=OFF >/dev/null
	cmake --build "$build" -j2 >/dev/null
fi
export GWSIM_BUILD=$build
work=$(mktemp -d "$build/bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
gwsim=$root/sim/gwsim
gw=$work/gw
"$gwsim" init "$gw"

now() { date +%s%N; }
# Rounds of ten direct runs then ten through gwsim run, alternating.
direct_ns=0 gwsim_ns=0
for _ in $(seq $((runs / 10))); do
	t0=$(now)
	for _ in 1 2 3 4 5 6 7 8 9 10; do /bin/busybox true; done
	t1=$(now)
	for _ in 1 2 3 4 5 6 7 8 9 10; do "$gwsim" run "$gw" -- /bin/busybox true; done
	t2=$(now)
	direct_ns=$((direct_ns + t1 - t0)) gwsim_ns=$((gwsim_ns + t2 - t1))
done
n=$((runs / 10 * 10))
direct_us=$((direct_ns / n / 1000)) gwsim_us=$((gwsim_ns / n / 1000))

# init: the median of a few fresh gateways.
inits=()
for i in 1 2 3 4 5 6 7; do
	t0=$(now)
	"$gwsim" init "$work/init$i" >/dev/null
	t1=$(now)
	inits+=($(((t1 - t0) / 1000000)))
	rm -rf "$work/init$i"
done
init_ms=$(printf '%s\n' "${inits[@]}" | sort -n | sed -n 4p)

cat <<EOT
busybox true, direct          ${direct_us} us per run
busybox true, gwsim run       ${gwsim_us} us per run
gwsim run overhead            $((gwsim_us - direct_us)) us per run ($(awk -v a="$gwsim_us" -v b="$direct_us" 'BEGIN { printf "%.1f", a / b }') x the command alone)
gwsim init                    ${init_ms} ms (median of 7: ${inits[*]})
EOT
