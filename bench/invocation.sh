#!/usr/bin/env bash
# Per-invocation cost of sys on the simulated gateway, beside a floor program
# that does only what every invocation must do, and the cost of `gwsim run`
# itself. Instructions are counted with callgrind (repeatable); wall times
# are averages over repeated runs. Usage: bench/invocation.sh [RUNS]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
runs=${1:-200}
# shellcheck source=gateway_bench.sh
. "$root/bench/gateway_bench.sh"
cc -O2 -o "$gw/tmp/floor" "$root/bench/invocation_floor.c"

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

cat <<EOT
instructions (callgrind)      sys wan2lan: $ins_sys   floor: $ins_floor   ratio: $(ratio "$ins_sys" "$ins_floor")
wall per invocation, inside   sys wan2lan: ${inside_sys} us   floor: ${inside_floor} us   ratio: $(ratio "$inside_sys" "$inside_floor")
wall per gwsim run            sys wan2lan: ${outside_sys} us   floor: ${outside_floor} us
gwsim run overhead            $((outside_sys - inside_sys)) us per invocation ($(ratio "$outside_sys" "$inside_sys") x the command alone)
EOT
