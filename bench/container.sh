#!/usr/bin/env bash
# Container and checksum benchmarks (not part of the tests):
#  - decode/encode of a realistic 128 KiB ROMFILE beside FastLZ + Adler-32
#    alone on the same blocks (the floor), Adler-32 and CRC-32 beside zlib;
#  - instructions (callgrind) of choosing and summing the romfile copy to
#    read, on two 128 KiB copies at buffer level.
#   bench/container.sh           BENCH_WORK=dir (default build-bench/)
set -eu
repo=$(cd "$(dirname "$0")/.." && pwd)
work=${BENCH_WORK:-$repo/build-bench}
fastlz=${FASTLZ_SOURCE_DIR:-/usr/share/verilator/include/gtkwave}
cxx=${CXX:-g++}
cc=${CC:-gcc}
mkdir -p "$work"

flags="-std=c++17 -O2 -g -DNDEBUG -fno-exceptions -fno-rtti -I$repo -I$repo/platform/include -I$fastlz"
lib="$repo/romfile/container.cpp $repo/romfile/container_file.cpp $repo/romfile/image.cpp $repo/flash/crc32.cpp $repo/lib/safe_file.cpp $work/fastlz.o"
$cc -O2 -g -w -DFASTLZ_STRICT_ALIGN=1 -c "$fastlz/fastlz.c" -o "$work/fastlz.o"
# shellcheck disable=SC2086
$cxx $flags "$repo/bench/container_bench.cpp" $lib -lbenchmark -lpthread -lz -o "$work/container_bench"
# shellcheck disable=SC2086
$cxx $flags "$repo/bench/container_callgrind.cpp" $lib -o "$work/container_callgrind"

"$work/container_bench" --benchmark_format=json --benchmark_out="$work/container_bench.json" \
	--benchmark_out_format=json --benchmark_repetitions=3 --benchmark_report_aggregates_only=true \
	>/dev/null
python3 - "$work/container_bench.json" <<'EOF'
import json, sys
runs = {b["run_name"]: b for b in json.load(open(sys.argv[1]))["benchmarks"]
        if b.get("aggregate_name") == "median"}
def mbs(name):
    return runs[name]["bytes_per_second"] / 1e6
rows = [("BM_ContainerDecode", "BM_FloorDecompressAdler", "decode"),
        ("BM_ContainerEncode", "BM_FloorCompressAdler", "encode"),
        ("BM_CfgAdler32", "BM_ZlibAdler32", "cfg_adler32 vs zlib adler32"),
        ("BM_NoxCrc32", "BM_ZlibCrc32", "nox_crc32 vs zlib crc32")]
print("%-30s %12s %12s %8s" % ("128 KiB ROMFILE", "ours MB/s", "floor MB/s", "ratio"))
for ours, floor, what in rows:
    print("%-30s %12.1f %12.1f %8.2f" % (what, mbs(ours), mbs(floor), mbs(floor) / mbs(ours)))
EOF

valgrind --tool=callgrind --callgrind-out-file="$work/callgrind.out" \
	--toggle-collect=read_romfile_core "$work/container_callgrind" 2>"$work/callgrind.log"
ir=$(sed -n 's/^summary: *//p' "$work/callgrind.out")
echo "read index + checksum of two 128 KiB copies: $ir instructions (callgrind)"
callgrind_annotate --auto=no "$work/callgrind.out" 2>/dev/null | grep -E '^ *[0-9,]+ +\(' | sed -n '2,8p'
