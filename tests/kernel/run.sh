#!/usr/bin/env bash
# The kernel tier: the gateway's flash met through the kernel's own MTD
# driver (`gwsim kernel`) must behave byte for byte as on the simulated
# gateway (`gwsim run`), on NOR and on NAND flash, and survive a power cut.
#
# 1. flash_batch.sh (every command that writes flash, and the reads after
#    each, and the unit tests of the driver's answers) runs in one boot per
#    flash kind and once with gwsim run, each on a fresh gateway; output,
#    error, status and the whole gateway afterwards (every partition, the
#    logs, the store) must be the same.
# 2. A boot of saves is cut by killing its machine at a random moment after
#    a save returned; the next boot (gwsim run, on the same partition files)
#    must load that save or a later one.
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
export GWSIM_BUILD=${GWSIM_BUILD:-$root/build}
GWSIM=$root/sim/gwsim
scratch=$(mktemp -d "$GWSIM_BUILD/kernel.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
failed=0
# The gateways belong to nobody when root makes them: the scratch directory
# must let them be entered.
chmod 755 "$scratch"

fail() {
	printf 'FAIL: %s\n' "$*"
	failed=1
}

fresh_gateway() {
	"$GWSIM" init "$scratch/$1" >/dev/null || fail "gwsim init $1"
}

# run_batch NAME GWSIM-ARGS...: the batch on a fresh gateway NAME, with the
# unit tests of the MTD driver's answers in its /tmp.
run_batch() {
	local name=$1
	shift
	fresh_gateway "$name"
	cp "$UNIT_TESTS" "$scratch/$name/tmp/" && chown --reference="$scratch/$name" "$scratch/$name/tmp/${UNIT_TESTS##*/}" ||
		fail "cannot put the unit tests into $name"
	"$GWSIM" "$@" "$scratch/$name" -- sh -c "$(cat "$root/tests/kernel/flash_batch.sh")" \
		>"$scratch/$name.out" 2>"$scratch/$name.err" </dev/null
	echo $? >"$scratch/$name.rc"
}

# same_as_run NAME: NAME's streams, status and gateway are gwsim run's.
same_as_run() {
	local what
	for what in out err rc; do
		cmp -s "$scratch/$1.$what" "$scratch/run.$what" || {
			fail "$1: std$what differs from gwsim run's"
			diff "$scratch/run.$what" "$scratch/$1.$what" | head -20
		}
	done
	# The configuration daemon's socket is the machine's own, off the share.
	diff -r --no-dereference -x .gwsim -x socket "$scratch/run" "$scratch/$1" >"$scratch/$1.diff" 2>&1 ||
		fail "$1: the gateway differs from gwsim run's: $(head -5 "$scratch/$1.diff")"
}

UNIT_TESTS=$GWSIM_BUILD/tests/sys_unit_tests
batch_on_every_flash() {
	[ -x "$UNIT_TESTS" ] || fail "$UNIT_TESTS is not built"
	# Each machine is one processor's work: the two boots run side by side.
	run_batch nor kernel &
	local nor=$!
	run_batch nand kernel --flash nand &
	local nand=$!
	run_batch run run
	wait $nor $nand
	[ "$(cat "$scratch/run.rc")" = 0 ] || fail "the batch failed under gwsim run: $(head -3 "$scratch/run.err")"
	same_as_run nor
	same_as_run nand
}

# The pid of the machine (qemu) a gwsim kernel run started, once it is up.
machine_of() {
	local child
	for child in $(cat /proc/"$1"/task/*/children 2>/dev/null); do
		[ "$(cat "/proc/$child/comm" 2>/dev/null)" = qemu-system-x86 ] && echo "$child" && return
	done
}

SAVES=6
power_cut_during_saves() {
	local gw=$scratch/cut target=$((RANDOM % 3 + 2)) line got machine pid returned1 save_ms ms
	fresh_gateway cut
	mkfifo "$scratch/cut.fifo"
	"$GWSIM" kernel "$gw" -- sh -c "for i in \$(seq 1 $SAVES); do
		sys times address1 cut\$i.example >/dev/null 2>&1 && echo returned \$i; done" \
		>"$scratch/cut.fifo" 2>"$scratch/cut.err" </dev/null &
	pid=$!
	exec {fifo}<"$scratch/cut.fifo"
	# The cut lands anywhere from right after save TARGET returned to one
	# and a half saves later, a save being as long as the second one took.
	while IFS= read -r line <&$fifo; do
		[ "$line" = "returned 1" ] && returned1=${EPOCHREALTIME/./}
		[ "$line" = "returned 2" ] && save_ms=$(((${EPOCHREALTIME/./} - returned1) / 1000))
		[ "$line" = "returned $target" ] && break
	done
	[ "$line" = "returned $target" ] || fail "power cut: save $target never returned: $(cat "$scratch/cut.err")"
	ms=$(((RANDOM * 32768 + RANDOM) % (save_ms * 3 / 2 + 1)))
	sleep "$(printf '%d.%03d' $((ms / 1000)) $((ms % 1000)))"
	machine=$(machine_of "$pid")
	[ -n "$machine" ] && kill -KILL "$machine"
	wait "$pid"
	local rc=$?
	exec {fifo}<&-
	# The boot ran all its saves before the cut: nothing was cut, try again.
	if [ "$rc" = 0 ]; then
		echo "power cut: came after every save; not counted"
		return
	fi
	[ "$rc" = 125 ] || fail "power cut: gwsim kernel exited $rc, not 125"
	# The next boot, on the simulated gateway: its flash is the same files.
	got=$("$GWSIM" run "$gw" -- sh -c 'cfgwriter load >/dev/null && tcapi get Timezone_Entry SERVER1' 2>&1)
	case $got in
	cut[0-9].example) ;;
	*) fail "power cut after save $target: the next boot loaded '$got'" ;;
	esac
	[ "${got//[^0-9]/}" -ge "$target" ] ||
		fail "power cut after save $target returned: the next boot loaded the older $got"
	echo "power cut after save $target returned: the next boot loaded $got"
}

batch_on_every_flash
power_cut_during_saves
if [ "$failed" = 0 ]; then
	echo "kernel tier: passed"
else
	echo "kernel tier: FAILED"
fi
exit "$failed"
