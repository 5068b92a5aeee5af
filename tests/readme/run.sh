#!/usr/bin/env bash
# Runs the README's transcripts and fails when a command's output differs.
#   tests/readme/run.sh [FILE.md]      (default: README.md at the top)
#
# A transcript is a 4-space indented block starting "$ ": each "$ " line runs
# with bash in a scratch directory, and the lines up to the next are its exact
# output (stdout and stderr). Each "##"/"###" section gets a fresh gateway
# "gateway"; sim/ and build/ there lead to the checkout's and $GWSIM_BUILD.
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
readme=${1:-$root/README.md}
export GWSIM_BUILD=${GWSIM_BUILD:-$root/build}
scratch=$(mktemp -d "$GWSIM_BUILD/readme.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
passed=0 failed=0
section= section_dir=

fresh_gateway() {
	[ -n "$section_dir" ] && rm -rf "$section_dir"
	section_dir=$(mktemp -d "$scratch/section.XXXXXX")
	ln -s "$root/sim" "$section_dir/sim"
	ln -s "$GWSIM_BUILD" "$section_dir/build"
	(cd "$section_dir" && sim/gwsim init gateway >/dev/null) || {
		printf 'FAIL: %s: gwsim init failed\n' "$section"
		return 1
	}
}

# check COMMAND EXPECTED: runs COMMAND in the section's directory.
check() {
	local actual
	actual=$(cd "$section_dir" && bash -c "$1" 2>&1 </dev/null; printf x)
	actual=${actual%x}
	if [ "$actual" = "$2" ]; then
		passed=$((passed + 1))
		return
	fi
	failed=$((failed + 1))
	printf 'FAIL: %s: $ %s\n' "$section" "$1"
	diff <(printf '%s' "$2") <(printf '%s' "$actual") | sed 's/^/  /'
}

# run_block LINE...: one transcript, lines without their indent.
run_block() {
	local line cmd= expected= have_cmd=0
	[ -n "$section_dir" ] || fresh_gateway || {
		failed=$((failed + 1))
		return
	}
	for line in "$@"; do
		if [[ $line == '$ '* ]]; then
			[ "$have_cmd" = 1 ] && check "$cmd" "$expected"
			cmd=${line#'$ '} expected= have_cmd=1
		else
			expected+=$line$'\n'
		fi
	done
	[ "$have_cmd" = 1 ] && check "$cmd" "$expected"
}

block=() blanks=0
end_block() {
	if [ ${#block[@]} -gt 0 ] && [[ ${block[0]} == '$ '* ]]; then
		run_block "${block[@]}"
	fi
	block=() blanks=0
}

while IFS= read -r line || [ -n "$line" ]; do
	if [[ $line == '    '* ]]; then
		# Blank lines between indented lines belong to the block.
		while [ "$blanks" -gt 0 ] && [ ${#block[@]} -gt 0 ]; do
			block+=("")
			blanks=$((blanks - 1))
		done
		blanks=0
		block+=("${line#    }")
	elif [ -z "$line" ]; then
		blanks=$((blanks + 1))
	else
		end_block
		if [[ $line == '## '* || $line == '### '* ]]; then
			section=${line#*# }
			[ -n "$section_dir" ] && rm -rf "$section_dir"
			section_dir=
		fi
	fi
done <"$readme"
end_block
printf '%d passed, %d failed\n' "$passed" "$failed"
[ "$failed" = 0 ]
