#!/usr/bin/env bash
# Builds the romfile fuzz targets with clang (libFuzzer, ASan, UBSan), makes a
# seed corpus with the gateway's own encoder and runs each target for a
# bounded time. Fails when a target crashes, leaks or trips a sanitizer.
#
#   fuzz/run.sh [SECONDS-PER-TARGET]        (default 60)
#   FUZZ_WORK=dir  where objects, corpora and logs go (default build-fuzz/)
#   FASTLZ_SOURCE_DIR=dir  FastLZ sources, as for the CMake build
#   CLANGXX=clang++-14 CLANG=clang-14
set -eu
seconds=${1:-60}
repo=$(cd "$(dirname "$0")/.." && pwd)
work=${FUZZ_WORK:-$repo/build-fuzz}
fastlz=${FASTLZ_SOURCE_DIR:-/usr/share/verilator/include/gtkwave}
cxx=${CLANGXX:-clang++-14}
cc=${CLANG:-clang-14}
# Each target with the longest input it reads and the seeds it takes
# (make_seeds' names). A run costs about what its input's length costs, so a
# target gets no input longer than it reads, and of the seeds only those that
# reach code or values the others do not (as libFuzzer's -merge keeps them),
# the shortest of each kind: the fuzzer grows longer ones from them where
# that leads further. romtool's targets take longer than a partition to reach
# the long-text path; the journal is read up to its record size.
all_raw="container_* text_* short_tail_* image_* plain_* erased romd_header"
targets_table="
fuzz_container      131072 container_200 container_5000 container_40000 container_65636 short_tail_* erased_head romd_header
fuzz_parse_rom      140000 text_* plain_5000 romd_header
fuzz_romd_header    32     romd_header container_200
fuzz_romfile_image  131073 packed_*
fuzz_roundtrip      140000 text_200 text_5000 text_40000 text_65636 short_tail_* romd_header
fuzz_wlan_journal   6252   $all_raw
fuzz_romtool_check  140000 text_200 text_5000 container_200 container_5000 short_tail_* image_200 plain_200 erased romd_header
fuzz_romtool_diff   140000 $all_raw
fuzz_romtool_set    140000 text_200 text_5000 container_200 container_5000 short_tail_* image_200 plain_200 erased romd_header
"
targets=$(awk 'NF { print $1 }' <<<"$targets_table")
target_max_len() { awk -v t="$1" '$1 == t { print $2 }' <<<"$targets_table"; }
target_seeds() { awk -v t="$1" '$1 == t { $1 = $2 = ""; print }' <<<"$targets_table"; }

mkdir -p "$work/obj" "$work/logs"
san="-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer"
cxxflags="-std=c++17 -g -O1 -fno-exceptions -fno-rtti -I$repo -I$repo/platform/include -I$repo/sim/platform -I$fastlz"
lib_sources="romfile/container.cpp romfile/container_file.cpp romfile/image.cpp romfile/romd.cpp romfile/romfile.cpp
	flash/crc32.cpp flash/flash_io.cpp flash/mtd.cpp lib/safe_file.cpp
	wlan/wlan_apply.cpp wlan/wlan_common.cpp wlan/wlan_journal.cpp shell/store.cpp fuzz/fake_store.cpp
	romfile/image_builder.cpp tools/romtool/backup.cpp tools/romtool/config_diff.cpp sim/platform/store_text.cpp"

echo "building in $work"
objs=()
for src in $lib_sources; do
	obj=$work/obj/$(basename "${src%.cpp}").o
	# shellcheck disable=SC2086
	$cxx $cxxflags $san -fsanitize=fuzzer-no-link -fsanitize-coverage-ignorelist="$repo/fuzz/coverage_ignore.txt" \
		-c "$repo/$src" -o "$obj"
	objs+=("$obj")
done
# shellcheck disable=SC2086
for src in device/mtd_dev common/mtd_dev_rw; do
	$cc -std=c11 -g -O1 $san -fsanitize=fuzzer-no-link -I"$repo/platform/include" \
		-c "$repo/platform/$src.c" -o "$work/obj/${src#*/}.o"
done
# Not our code: no warnings, byte-wise access as on the gateway, checked by
# the sanitizers but without coverage, whose tracing of its inner loops would
# cost most of a run.
# shellcheck disable=SC2086
$cc -g -O2 -w -DFASTLZ_STRICT_ALIGN=1 $san -c "$fastlz/fastlz.c" -o "$work/obj/fastlz.o"
objs+=("$work/obj/mtd_dev.o" "$work/obj/mtd_dev_rw.o" "$work/obj/fastlz.o")

for t in $targets; do
	# romtool's targets judge text with the store's reader (Mini-XML).
	# shellcheck disable=SC2086
	$cxx $cxxflags $san -fsanitize=fuzzer "$repo/fuzz/$t.cpp" "${objs[@]}" -lmxml -o "$work/$t"
done

# Seeds from the gateway's encoder, built without the fuzzer runtime.
$cc -g -O1 -w -DFASTLZ_STRICT_ALIGN=1 -c "$fastlz/fastlz.c" -o "$work/obj/fastlz_plain.o"
# shellcheck disable=SC2086
$cxx $cxxflags "$repo/fuzz/make_seeds.cpp" "$repo/romfile/container.cpp" "$repo/romfile/container_file.cpp" "$repo/romfile/image.cpp" \
	"$repo/flash/crc32.cpp" "$repo/lib/safe_file.cpp" "$work/obj/fastlz_plain.o" -o "$work/make_seeds"
rm -rf "$work/seeds"
mkdir -p "$work/seeds/all"
"$work/make_seeds" "$work/seeds/all"
for t in $targets; do
	mkdir -p "$work/seeds/$t"
	for pattern in $(target_seeds "$t"); do
		ln "$work/seeds/all"/$pattern "$work/seeds/$t/"
	done
done

# CPU seconds the finished children of the shell PID took, user and system.
children_cpu() {
	awk -v hz="$(getconf CLK_TCK)" '{ sub(/.*\) /, ""); printf "%.2f", ($14 + $15) / hz }' "/proc/$1/stat"
}

# One target on its corpus; its verdict line goes to logs/TARGET.result, with
# its executions per second of the time it ran and of the CPU time it got
# (on a busy machine the second is the rate of one idle processor).
run_target() {
	local t=$1 corpus=$work/corpus/$1 log=$work/logs/$1.log shell=$BASHPID max_len cpu runs secs
	max_len=$(target_max_len "$t")
	mkdir -p "$corpus"
	# The library prints its own messages for every damaged chunk; they go
	# to /dev/null, libFuzzer's report to the log.
	if "$work/$t" -max_total_time="$seconds" -max_len="$max_len" \
		-rss_limit_mb=2048 -timeout=10 -print_final_stats=1 -artifact_prefix="$work/logs/$t-" \
		"$corpus" "$work/seeds/$t" >/dev/null 2>"$log"; then
		cpu=$(children_cpu "$shell")
		runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
		secs=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log")
		printf '%-20s ok     %ss  %s runs  (%s/s; %s CPU s, %s per CPU second)\n' "$t" "$seconds" "$runs" "$secs" \
			"$cpu" "$(awk -v r="$runs" -v c="$cpu" 'BEGIN { printf "%.0f", (c > 0 ? r / c : 0) }')" \
			>"$work/logs/$t.result"
	else
		printf '%-20s FAILED, see %s\n' "$t" "$log" >"$work/logs/$t.result"
		return 1
	fi
}

# As many targets at once as the machine has processors, each on one.
rm -f "$work/logs"/*.result
failed=0
running=0
for t in $targets; do
	if [ "$running" -ge "$(nproc)" ]; then
		wait -n
		running=$((running - 1))
	fi
	run_target "$t" &
	running=$((running + 1))
done
wait
for t in $targets; do
	cat "$work/logs/$t.result"
	grep -q ' ok ' "$work/logs/$t.result" || failed=1
done
exit $failed
