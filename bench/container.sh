#!/usr/bin/env bash
# Container and checksum benchmarks (not part of the tests), each beside its
# floor, all figures from one run:
#  - CPU time (Google Benchmark, median of 5): decode/encode of a realistic
#    128 KiB ROMFILE beside FastLZ + zlib's Adler-32 alone on the same
#    blocks, cfg_adler32 and nox_crc32 beside zlib;
#  - instructions (callgrind) of the same decode and encode beside their
#    floors, and of the romfile flows of sys atsh (nox_getRomChksum: the
#    copy to read, then its checksum) and sys rominfo (both copies' sums,
#    then the copy to read) on two partition files, beside the same flows
#    built from the tree before this work (BENCH_BASE) and beside the floor
#    of expanding, checking and summing each copy once.
#   bench/container.sh        BENCH_WORK=dir (default build-bench/container/, its own:
#                             build-bench/ is the other benchmarks' build)
#                             BENCH_BASE=rev (default 9032435)
#                             BENCH_BASE_HARNESS=rev (default 1d11f13^: the
#                             callgrind harness for the base's interface)
set -eu
repo=$(cd "$(dirname "$0")/.." && pwd)
work=${BENCH_WORK:-$repo/build-bench/container}
base=${BENCH_BASE:-9032435}
base_harness=${BENCH_BASE_HARNESS:-1d11f13^}
fastlz=${FASTLZ_SOURCE_DIR:-/usr/share/verilator/include/gtkwave}
cxx=${CXX:-g++}
cc=${CC:-gcc}
mkdir -p "$work"

flags="-std=c++17 -O2 -g -DNDEBUG -fno-exceptions -fno-rtti -I$repo/platform/include -I$fastlz"
$cc -O2 -g -w -DFASTLZ_STRICT_ALIGN=1 -c "$fastlz/fastlz.c" -o "$work/fastlz.o"
$cc -O2 -g -I"$repo/platform/include" -c "$repo/platform/device/mtd_dev.c" -o "$work/mtd_dev.o"
$cc -O2 -g -I"$repo/platform/include" -c "$repo/platform/common/mtd_dev_rw.c" -o "$work/mtd_dev_rw.o"

# The library sources of a tree (the container's sources were split since the base).
sources() {
	local tree=$1
	echo "$tree"/romfile/container*.cpp "$tree/romfile/image.cpp" "$tree/romfile/romfile.cpp" \
		"$tree/flash/crc32.cpp" "$tree/flash/flash_io.cpp" "$tree/flash/mtd.cpp" \
		"$tree/lib/safe_file.cpp" "$work/fastlz.o" "$work/mtd_dev.o" "$work/mtd_dev_rw.o"
}

# shellcheck disable=SC2046,SC2086
$cxx $flags -I"$repo" "$repo/bench/container_bench.cpp" $(sources "$repo") -lbenchmark -lpthread -lz \
	-o "$work/container_bench"
# shellcheck disable=SC2046,SC2086
$cxx $flags -I"$repo" "$repo/bench/container_callgrind.cpp" $(sources "$repo") -lz -o "$work/callgrind_now"
rm -rf "$work/base" && mkdir -p "$work/base"
git -C "$repo" archive "$base" | tar -x -C "$work/base"
# The older tree reads its romfile copies through process-wide readings: its
# flows are measured by the harness written for that interface (BENCH_BASE_HARNESS).
git -C "$repo" show "$base_harness:bench/container_callgrind.cpp" >"$work/base/bench/container_callgrind.cpp"
cp "$repo/bench/container_text.h" "$work/base/bench/"
# The byte-order helpers the bench includes lay in flash/ in the older tree.
if [ ! -e "$work/base/lib/byteorder.h" ]; then
	printf '#pragma once\n#include "flash/byteorder.h"\n' >"$work/base/lib/byteorder.h"
fi
# shellcheck disable=SC2046,SC2086
$cxx $flags -I"$work/base" "$work/base/bench/container_callgrind.cpp" $(sources "$work/base") -lz \
	-o "$work/callgrind_base"

echo "== CPU time, 128 KiB ROMFILE (median of 5)"
"$work/container_bench" --benchmark_format=json --benchmark_out="$work/container_bench.json" \
	--benchmark_out_format=json --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
	>/dev/null
python3 - "$work/container_bench.json" <<'PY'
import json, sys
runs = {b["run_name"]: b for b in json.load(open(sys.argv[1]))["benchmarks"]
        if b.get("aggregate_name") == "median"}
def cpu_us(name):
    return runs[name]["cpu_time"] / 1e3
rows = [("BM_ContainerDecode", "BM_FloorDecompressAdler", "decode"),
        ("BM_ContainerEncode", "BM_FloorCompressAdler", "encode"),
        ("BM_CfgAdler32", "BM_ZlibAdler32", "cfg_adler32 / zlib adler32"),
        ("BM_NoxCrc32", "BM_ZlibCrc32", "nox_crc32 / zlib crc32")]
print("%-28s %10s %10s %12s" % ("", "ours us", "floor us", "ours/floor"))
for ours, floor, what in rows:
    print("%-28s %10.1f %10.1f %12.2f" % (what, cpu_us(ours), cpu_us(floor), cpu_us(ours) / cpu_us(floor)))
PY

# Instructions inside the named function, one callgrind run each.
count() {
	local prog=$1 what=$2
	(cd "$work" && valgrind --tool=callgrind --callgrind-out-file="$work/cg.$what.out" \
		--toggle-collect="$what" "$prog" "$what" >/dev/null 2>"$work/cg.$what.log")
	sed -n 's/^summary: *//p' "$work/cg.$what.out"
}
(cd "$work" && "$work/callgrind_now" make-copies >/dev/null)
dec=$(count "$work/callgrind_now" decode)
fdec=$(count "$work/callgrind_now" floor_decode)
enc=$(count "$work/callgrind_now" encode)
fenc=$(count "$work/callgrind_now" floor_encode)
atsh=$(count "$work/callgrind_now" atsh_flow)
rominfo=$(count "$work/callgrind_now" rominfo_flow)
floor=$(count "$work/callgrind_now" floor_read)
batsh=$(count "$work/callgrind_base" atsh_flow)
brominfo=$(count "$work/callgrind_base" rominfo_flow)
echo "== instructions (callgrind)"
python3 - "$dec" "$fdec" "$enc" "$fenc" "$atsh" "$rominfo" "$floor" "$batsh" "$brominfo" <<'PY'
import sys
dec, fdec, enc, fenc, atsh, rominfo, floor, batsh, brominfo = map(int, sys.argv[1:])
print("%-22s %12s %12s %12s %11s %11s" % ("", "ours", "floor", "before", "ours/floor", "ours/before"))
print("%-22s %12d %12d %12s %11.2f %11s" % ("decode", dec, fdec, "", dec / fdec, ""))
print("%-22s %12d %12d %12s %11.2f %11s" % ("encode", enc, fenc, "", enc / fenc, ""))
for what, ours, before in (("atsh romfile flow", atsh, batsh), ("rominfo romfile flow", rominfo, brominfo)):
    print("%-22s %12d %12d %12d %11.2f %11.2f" % (what, ours, floor, before, ours / floor, ours / before))
PY
