# Sourced by the benchmarks that measure sys on a simulated gateway: a
# Release build in build-bench, a fresh gateway in $gw (removed on exit),
# gwrun to run inside it, callgrind installed in its /tmp for `instructions`,
# and `ratio`. The caller sets root first.
build=$root/build-bench
"$root/scripts/deps.sh"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DSYS_TESTS=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" >/dev/null
export GWSIM_BUILD=$build
work=$(mktemp -d "$build/bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
gw=$work/gw
"$root/sim/gwsim" init "$gw" >/dev/null
gwrun() { "$root/sim/gwsim" run "$gw" -- "$@"; }

# callgrind, with its tool files copied into the gateway's /tmp.
vg=$gw/tmp/vg
mkdir -p "$vg"
cp /usr/bin/valgrind.bin "$vg/"
for f in callgrind-amd64-linux vgpreload_core-amd64-linux.so default.supp; do
	cp "/usr/libexec/valgrind/$f" "$vg/"
done
# instructions CMD...: instructions of the whole process, run inside.
instructions() {
	gwrun env VALGRIND_LIB=/tmp/vg /tmp/vg/valgrind.bin --tool=callgrind \
		--callgrind-out-file=/tmp/cg.out "$@" 2>&1 >/dev/null |
		sed -n 's/.*Collected : *\([0-9]*\).*/\1/p'
}
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }
