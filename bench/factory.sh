#!/usr/bin/env bash
# Cost of `sys atsh` and `sys rominfo` on a fresh simulated gateway, beside a
# floor program that only reads what they must read (record, tags, boot
# information, both 128 KiB romfile copies) without decoding or checksums.
# Instructions are counted with callgrind (whole process, repeatable); peak
# RSS is the kernel's ru_maxrss, least and most of RSS_RUNS runs (default
# 10): it moves from run to run with the pages of the C library the kernel
# maps around each fault. Usage: [RSS_RUNS=N] bench/factory.sh
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
# shellcheck source=gateway_bench.sh
. "$root/bench/gateway_bench.sh"
cc -O2 -o "$gw/tmp/floor" "$root/bench/factory_floor.c"
cc -O2 -o "$gw/tmp/peak_rss" "$root/bench/peak_rss.c"

rss_runs=${RSS_RUNS:-10}
# rss_range CMD...: "least most" peak RSS in KiB over rss_runs runs.
rss_range() {
	for _ in $(seq "$rss_runs"); do
		gwrun /tmp/peak_rss "$@"
	done | sort -n | sed -n '1p;$p' | paste -sd' '
}

ins_floor=$(instructions /tmp/floor)
read -r floor_least floor_most <<<"$(rss_range /tmp/floor)"
printf '%-12s %12s %8s %16s %12s\n' command instructions ratio "RSS KiB (range)" "ratio (most)"
printf '%-12s %12s %8s %16s %12s\n' floor "$ins_floor" 1.00 "$floor_least-$floor_most" 1.00
for cmd in atsh rominfo; do
	ins=$(instructions /userfs/bin/sys $cmd)
	read -r least most <<<"$(rss_range /userfs/bin/sys $cmd)"
	printf '%-12s %12s %8s %16s %12s\n' "sys $cmd" "$ins" "$(ratio "$ins" "$ins_floor")" "$least-$most" \
		"$(ratio "$most" "$floor_most")"
done
echo "target: peak RSS at most 2048 KiB"
