#!/usr/bin/env bash
# Size and cost of the gateway build of sys.
#
#   bench/size.sh            build (as tests/mips/run.sh does) and measure
#
# Prints, for the MIPS sys as the MIPS build installs it (stripped, linked to
# the platform's shared libraries as on the gateway): text, data and bss
# (mips-linux-gnu-size) against the 96 KiB budget for text+data, the largest symbols
# (nm --size-sort), and the instructions a simple command executes under
# emulation, beside the same command of the x86-64 build. Both counts come
# from qemu running one instruction per translation block and logging every
# block executed, so they include the dynamic loader and the C library.
set -u
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/.." && pwd)
# shellcheck source=../sim/mips/env.sh
. "$root/sim/mips/env.sh"

budget=$((96 * 1024))
top=${SYS_BENCH_TOP:-15}

mips_prepare
command -v qemu-x86_64 >/dev/null || die "qemu-x86_64 is missing (install qemu-user)"
cp /usr/bin/qemu-x86_64 "$overlay/usr/bin/" || die "cannot stage qemu-x86_64"

out=$mips_build/bench
rm -rf "$out/rootfs"
mkdir -p "$out"
# The program a gateway carries: what the MIPS build installs.
DESTDIR=$out/rootfs cmake --install "$mips_build" --strip >/dev/null || die "install failed"
stripped=$out/rootfs/userfs/bin/sys

read -r text data bss _ < <(mips-linux-gnu-size "$stripped" | tail -n 1)
used=$((text + data))

printf 'sys for the gateway (%s, %s), %s\n' \
	"$(mips-linux-gnu-g++ -dumpfullversion | sed 's/^/mips-linux-gnu-g++ /')" \
	"$(sed -n 's/^CMAKE_BUILD_TYPE:[A-Z]*=//p' "$mips_build/CMakeCache.txt")" "$(date -u +%Y-%m-%d)"
printf '  installed userfs/bin/sys: text %d  data %d  bss %d  (text+data %d of %d bytes: %s)\n' "$text" "$data" \
	"$bss" "$used" "$budget" "$([[ $used -le $budget ]] && echo within budget || echo OVER BUDGET)"
printf '  stripped file %d bytes; needs %s\n' "$(stat -c %s "$stripped")" \
	"$(mips-linux-gnu-readelf -d "$stripped" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | tr '\n' ' ')"
for lib in "$mips_build"/vendor-sdk/lib/*.so; do
	read -r ltext ldata _ < <(mips-linux-gnu-size "$lib" | tail -n 1)
	printf '  %s (the simulated platform'"'"'s, not installed): text %d  data %d\n' "$(basename "$lib")" "$ltext" "$ldata"
done

printf '\nLargest symbols (bytes, type, name):\n'
mips-linux-gnu-nm --size-sort -S -C "$mips_build/sys" | tail -n "$top" | tac |
	while read -r _ size type name; do
		printf '  %6d %s %s\n' "$((16#$size))" "$type" "$name"
	done

# Which library each byte of the program comes from: the symbols of the
# linked program, attributed to the static library that defines them.
printf '\nBy library (bytes of symbols in the linked program):\n'
{
	for lib in "$mips_build/libsyscore.a" "$mips_build"/romfile/lib*.a "$mips_build/libsys_device_platform.a"; do
		[[ -f $lib ]] || continue
		mips-linux-gnu-nm --defined-only "$lib" 2>/dev/null |
			awk -v lib="$(basename "$lib" .a)" 'NF == 3 { print "L", lib, $3 }'
	done
	mips-linux-gnu-nm -S "$mips_build/sys" | awk 'NF == 4 { print "S", $4, $2 }'
} | awk '
	$1 == "L" { if (!($3 in owner)) owner[$3] = $2; next }
	function hex(h,   v, i) {
		v = 0
		for (i = 1; i <= length(h); i++)
			v = v * 16 + index("0123456789abcdef", tolower(substr(h, i, 1))) - 1
		return v
	}
	{ lib = ($2 in owner) ? owner[$2] : "C/C++ runtime and startup"; sum[lib] += hex($3) }
	END { for (lib in sum) printf "  %6d %s\n", sum[lib], lib }' | sort -rn

# Instructions one command executes, each in the same fresh gateway.
one_insn=-singlestep
qemu-mips -h | grep -q -- -one-insn-per-tb && one_insn=-one-insn-per-tb
gw=$(mktemp -d "$host_build/gw-bench.XXXXXX")
trap 'rm -rf "$gw"' EXIT
"$GWSIM" init "$gw" >/dev/null || die "gwsim init failed"
cp "$host_build/sys" "$gw/tmp/sys-x86_64"

# count QEMU [QEMU OPTIONS...] -- PROGRAM [ARGS...]
count() {
	local -a qemu=()
	while [[ $1 != -- ]]; do
		qemu+=("$1")
		shift
	done
	shift
	rm -f "$gw/tmp/insn.log"
	"$GWSIM" run "$gw" -- "${qemu[@]}" "$one_insn" -d nochain,exec -D /tmp/insn.log \
		"$@" >/dev/null 2>&1
	grep -c '^Trace' "$gw/tmp/insn.log"
}

printf '\nInstructions executed (whole process, under qemu):\n'
printf '  %-22s %12s %12s\n' command MIPS x86-64
for cmd in "sys" "sys Wan Index 1"; do
	# shellcheck disable=SC2086
	set -- ${cmd#sys}
	mips=$(count /usr/bin/qemu-mips -L /usr/mips-linux-gnu -0 sys -- /usr/mips-linux-gnu/bin/sys "$@")
	x86=$(count /usr/bin/qemu-x86_64 -0 sys -- /tmp/sys-x86_64 "$@")
	printf '  %-22s %12d %12d\n' "$cmd" "$mips" "$x86"
done
printf '  (x86-64: %s build of %s)\n' "$(sed -n 's/^CMAKE_BUILD_TYPE:[A-Z]*=//p' "$host_build/CMakeCache.txt")" "$host_build"
