#!/usr/bin/env bash
# Cost of `sys atsh` and `sys rominfo` on a fresh simulated gateway, beside a
# floor program that only reads what they must read (record, tags, boot
# information, both 128 KiB romfile copies) without decoding or checksums.
# Instructions are counted with callgrind (whole process, repeatable); peak
# RSS is the kernel's ru_maxrss. Usage: bench/factory.sh
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build-bench
"$root/scripts/deps.sh"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DSYS_TESTS=OFF >/dev/null
cmake --build "$build" -j2 >/dev/null
export GWSIM_BUILD=$build
work=$(mktemp -d "$build/bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
gw=$work/gw
"$root/sim/gwsim" init "$gw" >/dev/null
cc -O2 -o "$gw/tmp/floor" "$root/bench/factory_floor.c"
cc -O2 -o "$gw/tmp/peak_rss" "$root/bench/peak_rss.c"
gwrun() { "$root/sim/gwsim" run "$gw" -- "$@"; }

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
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }

ins_floor=$(instructions /tmp/floor)
rss_floor=$(gwrun /tmp/peak_rss /tmp/floor)
printf '%-12s %12s %8s %10s %8s\n' command instructions ratio "RSS KiB" ratio
printf '%-12s %12s %8s %10s %8s\n' floor "$ins_floor" 1.00 "$rss_floor" 1.00
for cmd in atsh rominfo; do
	ins=$(instructions /userfs/bin/sys $cmd)
	rss=$(gwrun /tmp/peak_rss /userfs/bin/sys $cmd)
	printf '%-12s %12s %8s %10s %8s\n' "sys $cmd" "$ins" "$(ratio "$ins" "$ins_floor")" "$rss" "$(ratio "$rss" "$rss_floor")"
done
echo "target: peak RSS at most 2048 KiB"
