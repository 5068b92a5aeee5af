#!/usr/bin/env bash
# romtool check and diff on two 128 KiB partition images (not part of the
# tests), beside their floor in the same run: romtool decode of the same two
# images, which reads each image as check and diff must (container, trailer,
# the store's text reader) and prints its text. Instructions of whole
# processes (callgrind), which repeat from run to run on a busy machine.
#   bench/romtool.sh          BENCH_WORK=dir (default build-bench/)
#                             ROMTOOL_BUILD=dir (default build/)
set -eu
repo=$(cd "$(dirname "$0")/.." && pwd)
work=${BENCH_WORK:-$repo/build-bench}/romtool
romtool=${ROMTOOL_BUILD:-$repo/build}/tools/romtool/romtool
[ -x "$romtool" ] || { echo "romtool is not built: $romtool" >&2; exit 1; }
mkdir -p "$work"

# Image A holds the realistic configuration; B is A with one value changed,
# as a support engineer's edit leaves it.
${CXX:-g++} -std=c++17 -O2 -I"$repo/bench" "$repo/bench/romtool_text.cpp" -o "$work/romtool_text"
"$work/romtool_text" >"$work/a.xml"
"$romtool" encode "$work/a.xml" "$work/a.bin" --version 7
"$romtool" set "$work/a.bin" Sys_Entry HostName support "$work/b.bin"
echo "images: $(stat -c %s "$work/a.bin") bytes each, text $(stat -c %s "$work/a.xml") bytes," \
	"container $("$romtool" info "$work/a.bin" | sed -n 's/^container length: //p') bytes"

# instructions NAME ARGS...: callgrind's total for one romtool run.
instructions() {
	local name=$1
	shift
	valgrind --tool=callgrind --callgrind-out-file="$work/cg.$name.out" "$romtool" "$@" \
		>/dev/null 2>"$work/cg.$name.log" || [ "$name" = diff ]
	sed -n 's/^summary: *//p' "$work/cg.$name.out"
}
dec_a=$(instructions decode_a decode "$work/a.bin")
dec_b=$(instructions decode_b decode "$work/b.bin")
chk_a=$(instructions check_a check "$work/a.bin")
chk_b=$(instructions check_b check "$work/b.bin")
diff=$(instructions diff diff "$work/a.bin" "$work/b.bin")
# Where a decode's instructions go: the store's text reader alone.
valgrind --tool=callgrind --callgrind-out-file="$work/cg.reader.out" '--toggle-collect=store_text_parse*' \
	"$romtool" decode "$work/a.bin" >/dev/null 2>"$work/cg.reader.log"
reader=$(sed -n 's/^summary: *//p' "$work/cg.reader.out")
echo "== instructions (callgrind, whole process)"
python3 - "$dec_a" "$dec_b" "$chk_a" "$chk_b" "$diff" "$reader" <<'PY'
import sys
dec_a, dec_b, chk_a, chk_b, diff, reader = map(int, sys.argv[1:])
floor = dec_a + dec_b
print("%-34s %12s %12s %8s" % ("", "ours", "two decodes", "ratio"))
print("%-34s %12d %12d %8.2f" % ("check A + check B", chk_a + chk_b, floor, (chk_a + chk_b) / floor))
print("%-34s %12d %12d %8.2f" % ("diff A B", diff, floor, diff / floor))
print("decode A: %d instructions, %d (%.0f %%) of them the store's text reader" % (dec_a, reader, 100.0 * reader / dec_a))
PY
