# MIPS gateways, for tests/mips/run.sh and bench/size.sh (sourced): builds the
# workstation and MIPS trees and stages what a simulated gateway needs to run
# the MIPS programs. Expects $root; sets $mips_build, $host_build, $overlay and
# exports the gwsim variables.
mips_build=${SYS_MIPS_BUILD:-$root/build-mips}
host_build=${SYS_HOST_BUILD:-$root/build-mips-host}
jobs=${SYS_BUILD_JOBS:-2}

die() {
	printf 'mips gateways: %s\n' "$*" >&2
	exit 1
}

command -v qemu-mips >/dev/null || die "qemu-mips is missing (install qemu-user)"
command -v mips-linux-gnu-g++ >/dev/null || die "mips-linux-gnu-g++ is missing (install g++-mips-linux-gnu)"

build() {
	if [[ ! -f $host_build/CMakeCache.txt ]]; then
		cmake -S "$root" -B "$host_build" -DSYS_TESTS=OFF >/dev/null || die "host configure failed"
	fi
	cmake --build "$host_build" -j "$jobs" >/dev/null || die "host build failed"
	if [[ ! -f $mips_build/CMakeCache.txt ]]; then
		cmake -S "$root" -B "$mips_build" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mips-linux-gnu.cmake" \
			-DCMAKE_BUILD_TYPE=MinSizeRel >/dev/null || die "MIPS configure failed"
	fi
	cmake --build "$mips_build" -j "$jobs" >/dev/null || die "MIPS build failed"
}

# What every gateway of these runs gets on top of sim/gwsim's: qemu-mips, the
# target's dynamic loader and the libraries the MIPS programs need (the
# platform's from the MIPS build's vendor SDK), the MIPS build of the
# simulated kernel's drivers, and the MIPS sys.
# /userfs/bin/sys itself is sim/mips/qemu-sys.c (GWSIM_SYS). The MIPS
# loader reads the gateway's /etc/ld.so.preload like any other, and qemu-mips
# finds each path it names under the target's root first: the MIPS programs
# preload the MIPS drivers, the workstation's programs the workstation's.
stage_overlay() {
	overlay=$mips_build/gateway-overlay
	local target=/usr/mips-linux-gnu lib from
	rm -rf "$overlay"
	mkdir -p "$overlay/usr/bin" "$overlay$target/lib" "$overlay$target/bin" "$overlay$target/.gwsim" ||
		die "cannot stage $overlay"
	cp /usr/bin/qemu-mips "$overlay/usr/bin/" &&
		cp "$mips_build/sys" "$overlay$target/bin/sys" &&
		cp "$mips_build/sim/libgwkernel.so" "$overlay$target/.gwsim/" || die "cannot stage the MIPS runtime"
	for lib in ld.so.1 $(mips-linux-gnu-readelf -d "$mips_build/sys" "$mips_build/tests/sys_unit_tests" 2>/dev/null |
		sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort -u); do
		from=$target/lib/$lib
		[[ -f $mips_build/vendor-sdk/lib/$lib ]] && from=$mips_build/vendor-sdk/lib/$lib
		cp -L "$from" "$overlay$target/lib/" || die "cannot stage $lib"
	done
	cc -O2 -o "$mips_build/qemu-sys" "$root/sim/mips/qemu-sys.c" || die "cannot build qemu-sys"
}

# Builds both trees, stages the runtime and points gwsim at them.
mips_prepare() {
	build
	stage_overlay
	export GWSIM=$root/sim/mips/gwsim GWSIM_BUILD=$host_build GWSIM_REAL=$root/sim/gwsim GWSIM_MIPS_OVERLAY=$overlay
	export GWSIM_SYS=$mips_build/qemu-sys
}
