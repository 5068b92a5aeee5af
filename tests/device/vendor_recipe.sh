#!/usr/bin/env bash
# The gateway builds, as the README gives them, checked by what they install:
#   - the vendor recipe (SYS_PLATFORM=vendor, the project's MIPS toolchain
#     file) from an empty build directory, against the MIPS build's vendor
#     SDK copied elsewhere on disk;
#   - the MIPS preset's own build (build-mips), installed with --strip.
# Each must install exactly userfs/bin/sys under DESTDIR: a 32-bit big-endian
# MIPS executable that needs libtcapi.so, libutility.so and the C library
# and nothing else. The SDK's libraries must export exactly what its headers
# declare.
#
#   tests/device/vendor_recipe.sh SCRATCH-DIR
#
# The MIPS build (SYS_MIPS_BUILD, default build-mips) is configured with the
# preset when missing and its SDK brought up to date.
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
mips_build=${SYS_MIPS_BUILD:-$root/build-mips}
scratch=${1:?usage: vendor_recipe.sh SCRATCH-DIR}
failed=0

die() {
	printf 'vendor_recipe: %s\n' "$*" >&2
	exit 1
}

fail() {
	printf 'FAIL: %s\n' "$*"
	failed=1
}

if [[ ! -f $mips_build/CMakeCache.txt ]]; then
	(cd "$root" && cmake --preset mips >/dev/null) || die "cannot configure $mips_build"
fi
cmake --build "$mips_build" -j2 >/dev/null || die "cannot build $mips_build"

# The SDK's libraries export exactly the functions its headers declare:
# whatever else a simulated gateway needs (its kernel's drivers) lives apart.
declared=$(sed -n 's/^[a-z][a-z_ ]* \**\([a-z_][a-z_0-9]*\)(.*/\1/p' "$mips_build"/vendor-sdk/include/*.h | sort | tr '\n' ' ')
exported=$(mips-linux-gnu-nm -D --defined-only "$mips_build"/vendor-sdk/lib/*.so | awk 'NF == 3 { print $3 }' | sort |
	tr '\n' ' ')
[[ -n $declared && $exported == "$declared" ]] ||
	fail "the SDK's libraries export '$exported', its headers declare '$declared'"

rm -rf "$scratch"
mkdir -p "$scratch" || die "cannot make $scratch"
cp -r "$mips_build/vendor-sdk" "$scratch/sdk-elsewhere" || die "cannot copy the SDK"

# The README's recipe, word for word but for the paths.
recipe() {
	cmake -S "$root" -B "$scratch/build-gw" -DSYS_PLATFORM=vendor -DVENDOR_SDK_DIR="$scratch/sdk-elsewhere" \
		-DSYS_TESTS=OFF -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mips-linux-gnu.cmake" &&
		cmake --build "$scratch/build-gw" -j2 && DESTDIR="$scratch/rootfs-recipe" cmake --install "$scratch/build-gw"
}

preset() {
	DESTDIR="$scratch/rootfs-preset" cmake --install "$mips_build" --strip
}

# The ELF header's class, data and machine bytes: 01 (32-bit), 02 (big
# endian), 0008 (MIPS).
elf_kind() {
	od -An -tx1 -j4 -N2 "$1" | tr -d ' \n'
	od -An -tx1 -j18 -N2 "$1" | tr -d ' \n'
}

needed() {
	mips-linux-gnu-readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | tr '\n' ' '
}

# name, how it is built and installed, staging root
while read -r name how rootfs; do
	if ! "$how" >"$scratch/$name.log" 2>&1; then
		fail "$name: build or install failed (see $scratch/$name.log)"
		continue
	fi
	installed=$(cd "$scratch/$rootfs" && find . -type f | sort | tr '\n' ' ')
	[[ $installed == "./userfs/bin/sys " ]] || fail "$name: installed '$installed', not ./userfs/bin/sys"
	sys=$scratch/$rootfs/userfs/bin/sys
	[[ -f $sys ]] || continue
	kind=$(elf_kind "$sys")
	[[ $kind == 01020008 ]] || fail "$name: ELF class, data, machine $kind, not 32-bit big-endian MIPS"
	libs=$(needed "$sys")
	# In any order: a build may put the C library first.
	[[ $(printf '%s\n' $libs | sort | tr '\n' ' ') == "libc.so.6 libtcapi.so libutility.so " ]] ||
		fail "$name: needs '$libs'"
done <<'LIST'
recipe recipe rootfs-recipe
preset preset rootfs-preset
LIST
[[ $failed == 0 ]] && printf 'vendor_recipe: both builds install the gateway'"'"'s sys\n'
exit "$failed"
