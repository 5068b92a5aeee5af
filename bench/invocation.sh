#!/usr/bin/env bash
# Per-invocation cost of sys on the simulated gateway, beside a floor program
# that does only what every invocation must do, and the cost of `gwsim run`
# itself. Instructions are counted with callgrind (repeatable); wall times
# are averages over repeated runs. Usage: bench/invocation.sh [RUNS]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
runs=${1:-200}
build=$root/build-bench
"$root/scripts/deps.sh"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DSYS_TESTS=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" >/dev/null
export GWSIM_BUILD=$build
work=$(mktemp -d "$build/bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
gw=$work/gw
"$root/sim/gwsim" init "$gw" >/dev/null
cc -O2 -o "$gw/tmp/floor" "$root/bench/invocation_floor.c"
gwrun() { "$root/sim/gwsim" run "$gw" -- "$@"; }

# callgrind, with its tool files copied into the gateway's /tmp.
vg=$gw/tmp/vg
mkdir -p "$vg"
cp /usr/bin/valgrind.bin "$vg/"
for f in callgrind-amd64-linux vgpreload_core-amd64-linux.so default.supp; do
	cp "/usr/libexec/valgrind/$f" "$vg/"
done
instructions() {
	gwrun env VALGRIND_LIB=/tmp/vg /tmp/vg/valgrind.bin --tool=callgrind \
		--callgrind-out-file=/tmp/cg.out "$@" 2>&1 >/dev/null |
		sed -n 's/.*Collected : *\([0-9]*\).*/\1/p'
}
ins_sys=$(instructions /userfs/bin/sys wan2lan)
ins_floor=$(instructions /tmp/floor)

# Wall time of N invocations: each through its own `gwsim run`, and all from
# one shell already inside the gateway.
now() { date +%s%N; }
per_run_us() { echo $(( ($2 - $1) / runs / 1000 )); }
t0=$(now); for _ in $(seq "$runs"); do gwrun sys wan2lan; done; t1=$(now)
outside_sys=$(per_run_us "$t0" "$t1")
t0=$(now); for _ in $(seq "$runs"); do gwrun /tmp/floor >/dev/null; done; t1=$(now)
outside_floor=$(per_run_us "$t0" "$t1")
inside() {
	local t0 t1
	t0=$(now)
	gwrun /bin/busybox sh -c "i=0; while [ \$i -lt $runs ]; do $1 >/dev/null; i=\$((i+1)); done"
	t1=$(now)
	per_run_us "$t0" "$t1"
}
inside_sys=$(inside "/userfs/bin/sys wan2lan")
inside_floor=$(inside /tmp/floor)

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }
cat <<EOT
instructions (callgrind)      sys wan2lan: $ins_sys   floor: $ins_floor   ratio: $(ratio "$ins_sys" "$ins_floor")
wall per invocation, inside   sys wan2lan: ${inside_sys} us   floor: ${inside_floor} us   ratio: $(ratio "$inside_sys" "$inside_floor")
wall per gwsim run            sys wan2lan: ${outside_sys} us   floor: ${outside_floor} us
gwsim run overhead            $((outside_sys - inside_sys)) us per invocation ($(ratio "$outside_sys" "$inside_sys") x the command alone)
EOT
