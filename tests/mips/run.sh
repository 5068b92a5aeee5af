#!/usr/bin/env bash
# The tests with the MIPS build, under emulation:
#   - the unit tests, built for MIPS, run under qemu-mips inside a fresh
#     simulated gateway;
#   - every black-box suite runs with the MIPS sys as the gateway's
#     /userfs/bin/sys, the rest of the gateway being the workstation build.
#
#   tests/mips/run.sh                      build both trees, run everything
#   tests/mips/run.sh tests/blackbox/x.test ...   only these suites
#
# SYS_MIPS_BUILD (default build-mips) is the cross build; SYS_HOST_BUILD
# (default build-mips-host) the workstation build that supplies the rest of
# the gateway. Both are configured when missing and brought up to date.
# Prints "mips: N passed, N failed" (suites) and exits non-zero on a failure.
set -u
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
# shellcheck source=../../sim/mips/env.sh
. "$root/sim/mips/env.sh"

passed=0
failed=0
tally() {
	if [[ $1 == 0 ]]; then
		passed=$((passed + 1))
	else
		failed=$((failed + 1))
		printf 'FAILED under emulation: %s\n' "$2"
	fi
}

run_unit() {
	local gw rc
	gw=$(mktemp -d "$host_build/gw-mips-unit.XXXXXX")
	if "$GWSIM" init "$gw" >/dev/null; then
		cp "$mips_build/tests/sys_unit_tests" "$gw/tmp/" &&
			"$GWSIM" run "$gw" -- /usr/bin/qemu-mips -L /usr/mips-linux-gnu /tmp/sys_unit_tests
		rc=$?
	else
		rc=1
	fi
	rm -rf "$gw"
	tally "$rc" unit
}

run_blackbox() {
	local file=$1 name
	name=$(basename "$file" .test)
	printf '== blackbox.%s (MIPS sys)\n' "$name"
	bash "$root/tests/blackbox/run.sh" "$(cd "$(dirname "$file")" && pwd)/$(basename "$file")"
	tally $? "blackbox.$name"
}

mips_prepare

if [[ $# -gt 0 ]]; then
	suites=("$@")
else
	printf '== unit (MIPS, qemu-mips)\n'
	run_unit
	suites=("$root"/tests/blackbox/*.test)
fi
for file in "${suites[@]}"; do
	[[ -f $file ]] || die "no such suite: $file"
	run_blackbox "$file"
done
printf 'mips: %d passed, %d failed\n' "$passed" "$failed"
[[ $failed == 0 ]]
