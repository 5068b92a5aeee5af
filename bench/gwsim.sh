#!/usr/bin/env bash
# What the simulated gateway costs: `gwsim run` beside running the same
# binary directly on the workstation, alternated in the same run so that load
# on the machine hits both alike; the run that boots a gateway; a fresh
# `gwsim init`.
# Usage: bench/gwsim.sh [RUNS]   (default 300; uses build-bench/, Release)
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
runs=${1:-300}
# shellcheck source=bench/release_build.sh
. "$root/bench/release_build.sh"
gwsim=$root/sim/gwsim
gw=$work/gw
"$gwsim" init "$gw"
cc -O2 -o "$work/spawn_pair" "$root/bench/spawn_pair.c"
direct=(/bin/busybox true)
through=("$gwsim" run "$gw" -- /bin/busybox true)

now() { date +%s%N; }
ms() { awk -v a="$1" 'BEGIN { printf "%.2f", a / 1000 }'; }

# Started as a program starts them: posix_spawn and wait.
"${through[@]}"
read -r _ d_med d_mean _ g_med g_mean < <("$work/spawn_pair" "$runs" -- "${direct[@]}" -- "${through[@]}" | paste -sd ' ')

# Started from a bash loop, ten of each in turn: bash forks a copy of itself
# for every command, which makes every start dearer.
sh_direct=0 sh_gwsim=0
for _ in $(seq $((runs / 10))); do
	t0=$(now)
	for _ in 1 2 3 4 5 6 7 8 9 10; do "${direct[@]}"; done
	t1=$(now)
	for _ in 1 2 3 4 5 6 7 8 9 10; do "${through[@]}"; done
	t2=$(now)
	sh_direct=$((sh_direct + t1 - t0)) sh_gwsim=$((sh_gwsim + t2 - t1))
done
n=$((runs / 10 * 10))
sh_direct=$((sh_direct / n / 1000)) sh_gwsim=$((sh_gwsim / n / 1000))

# The run that boots a gateway (none up: a fresh one), and init.
# Init's CPU time too (its processes' user and system time): on a machine
# under other work the wall time mostly measures the wait for a processor.
boots=() inits=() init_cpu=()
TIMEFORMAT='%3U %3S'
for i in 1 2 3 4 5 6 7; do
	t0=$(now)
	cpu=$({ time "$gwsim" init "$work/fresh$i" >/dev/null; } 2>&1)
	t1=$(now)
	init_cpu+=($(awk -v u="${cpu% *}" -v s="${cpu#* }" 'BEGIN { printf "%d", (u + s) * 1000 }'))
	"$gwsim" run "$work/fresh$i" -- "${direct[@]}"
	t2=$(now)
	inits+=($(((t1 - t0) / 1000000)))
	boots+=($(((t2 - t1) / 1000)))
	rm -rf "$work/fresh$i"
done
median() { printf '%s\n' "$@" | sort -n | sed -n 4p; }

cat <<EOT
busybox true, posix_spawn     direct $(ms "$d_med") ms   gwsim run $(ms "$g_med") ms   overhead $(ms $((g_med - d_med))) ms (median of $runs; means $(ms "$d_mean") / $(ms "$g_mean"), overhead $(ms $((g_mean - d_mean))) ms)
busybox true, bash loop       direct $(ms "$sh_direct") ms   gwsim run $(ms "$sh_gwsim") ms   overhead $(ms $((sh_gwsim - sh_direct))) ms (mean of $n)
first run, booting a gateway  $(ms "$(median "${boots[@]}")") ms (median of 7: ${boots[*]} us)
gwsim init                    $(median "${inits[@]}") ms (median of 7: ${inits[*]} ms), CPU $(median "${init_cpu[@]}") ms (${init_cpu[*]} ms)
EOT
