# Sourced by the gateway benchmarks: sets GWSIM_BUILD to the build they
# measure, the caller's or build-bench/ (Release, made here), and makes
# $work, a scratch directory in it that gateways made by root can enter.
build=${GWSIM_BUILD:-$root/build-bench}
if [ -z "${GWSIM_BUILD:-}" ]; then
	"$root/scripts/deps.sh"
	cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DSYS_TESTS=OFF >/dev/null
	cmake --build "$build" -j2 >/dev/null
fi
export GWSIM_BUILD=$build
work=$(mktemp -d "$build/bench.XXXXXX")
chmod 755 "$work"
trap 'rm -rf "$work"' EXIT
