#!/usr/bin/env bash
# Runs one or more transcript files against fresh simulated gateways.
#   tests/blackbox/run.sh tests/blackbox/dispatch.test [...]
# Prints "N passed, N failed" and exits non-zero when a case failed.
set -u
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=lib.sh
. "$here/lib.sh"
for file in "$@"; do
	# A transcript that does not parse would stop part-way and look passed.
	if ! bash -n "$file"; then
		printf 'FAIL: %s does not parse\n' "$file"
		FAILED=$((FAILED + 1))
		continue
	fi
	# shellcheck disable=SC1090
	. "$file"
done
finish
