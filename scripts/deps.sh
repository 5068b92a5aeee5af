#!/usr/bin/env bash
# Installs what building, trying and testing need, from Debian's packages.
# Quiet and quick when everything is already there.
set -eu
# `deps.sh try` installs only what building and trying sys on a simulated
# gateway need; without an argument, also what the tests, fuzzing, the
# device build, the kernel tier and the benchmarks need.
profile=${1:-all}
packages=(
	build-essential cmake pkg-config git
	busybox-static util-linux
	klibc-utils musl-tools
	libmxml-dev
	verilator
)
if [ "$profile" != try ]; then
	packages+=(
		zlib1g-dev
		libgtest-dev googletest libbenchmark-dev
		clang libclang-rt-dev
		valgrind
		g++-mips-linux-gnu qemu-user
		qemu-system-x86
	)
fi
missing=()
for p in "${packages[@]}"; do
	dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
	if [ "$(id -u)" != 0 ]; then
		echo "missing packages (run as root to install): ${missing[*]}" >&2
		exit 1
	fi
	export DEBIAN_FRONTEND=noninteractive
	apt-get update -qq
	apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
# The kernel `gwsim kernel` boots: Debian's, unpacked into the build tree,
# never installed on the workstation. Without it everything else still
# works; `gwsim kernel` and the kernel tier say what is missing.
[ "$profile" = try ] && exit 0
bash "$(dirname "$0")/../sim/kernel/fetch.sh" || echo "deps.sh: no kernel for gwsim kernel" >&2
