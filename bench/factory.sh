#!/usr/bin/env bash
# Cost of `sys atsh` and `sys rominfo` on a fresh simulated gateway, beside a
# floor program that only reads what they must read (record, tags, boot
# information, both 128 KiB romfile copies) without decoding or checksums.
# Instructions are counted with callgrind (whole process, repeatable); peak
# RSS is the kernel's ru_maxrss. Usage: bench/factory.sh
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
# shellcheck source=gateway_bench.sh
. "$root/bench/gateway_bench.sh"
cc -O2 -o "$gw/tmp/floor" "$root/bench/factory_floor.c"
cc -O2 -o "$gw/tmp/peak_rss" "$root/bench/peak_rss.c"

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
