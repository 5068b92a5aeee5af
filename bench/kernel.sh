#!/usr/bin/env bash
# What a gateway on the kernel (`gwsim kernel`) costs beside the simulated
# gateway (`gwsim run`), in the same run: a whole boot of a command that does
# nothing (from the call to the exit status), the time from power-on to the
# command (the machine's own clock when the command starts), and what one
# command costs once the gateway is up, read (`sys times`) and save
# (`sys times address1 ...`), timed inside by the clock each side has
# (/proc/uptime) over a loop of them.
# Usage: bench/kernel.sh [BOOTS] [COMMANDS]   (default 3 and 20; uses
# build-bench/, Release)
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
boots=${1:-3}
commands=${2:-20}
# shellcheck source=bench/release_build.sh
. "$root/bench/release_build.sh"
gwsim=$root/sim/gwsim

now() { date +%s%N; }
median() { sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

# The loop run inside: prints the clock before, after the reads and after
# the saves, in hundredths of seconds.
read -r -d '' LOOP <<EOF || true
t() { read -r up _ </proc/uptime; echo \${up%.*}\${up#*.}; }
t
for i in \$(seq $commands); do sys times >/dev/null; done
t
for i in \$(seq $commands); do sys times address1 bench\$i.example >/dev/null; done
t
EOF

per_command_ms() { # LABEL T0 T1 T2 (hundredths)
	awk -v l="$1" -v a="$2" -v b="$3" -v c="$4" -v n="$commands" \
		'BEGIN { printf "%s %.1f %.1f\n", l, (b - a) * 10 / n, (c - b) * 10 / n }'
}

for kind in nor nand; do
	"$gwsim" init "$work/$kind"
done
"$gwsim" init "$work/run"
boot_kernel=() boot_run=() to_command=()
for _ in $(seq "$boots"); do
	t0=$(now)
	"$gwsim" kernel "$work/nor" -- true
	t1=$(now)
	"$gwsim" run "$work/run" -- true
	t2=$(now)
	up=$("$gwsim" kernel "$work/nor" -- cat /proc/uptime)
	boot_kernel+=($(((t1 - t0) / 1000000)))
	boot_run+=($(((t2 - t1) / 1000000)))
	to_command+=("${up%% *}")
done
echo "whole boot of true, ms (median of $boots): kernel $(printf '%s\n' "${boot_kernel[@]}" | median)," \
	"gwsim run $(printf '%s\n' "${boot_run[@]}" | median)"
echo "power-on to command, s (machine's clock, median): $(printf '%s\n' "${to_command[@]}" | median)"
echo "per command, ms ($commands of each): where read save"
per_command_ms "gwsim-kernel-nor" $("$gwsim" kernel "$work/nor" -- sh -c "$LOOP")
per_command_ms "gwsim-kernel-nand" $("$gwsim" kernel --flash nand "$work/nand" -- sh -c "$LOOP")
per_command_ms "gwsim-run" $("$gwsim" run "$work/run" -- sh -c "$LOOP")
