#!/usr/bin/env bash
# Fetches Debian's amd64 kernel for `gwsim kernel` and lays out what the
# virtual machine boots, in the build tree (GWSIM_KERNEL_DIR, default
# build-kernel/ at the top of the checkout). Nothing is installed on the
# workstation: the package is downloaded and unpacked, and only the kernel
# image and the few modules the gateway needs are kept:
#   vmlinux      the kernel, unpacked from the package's compressed image:
#                qemu starts it at its PVH entry, which spares the machine
#                unpacking it at every boot (seconds under TCG)
#   base.cpio    BusyBox, the modules, the gateway's partition table for
#                the NAND simulator (gwsim_parts.c, built against the
#                package's headers), and the links the gateway's /proc keeps
#                into the kernel's procfs
#   version      the package it came from
# Quick when the layout is there already.
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
out=${GWSIM_KERNEL_DIR:-$root/build-kernel}
# The MTD drivers the flash is made of, the shares the gateway's files come
# through and the ports its streams go out by; their dependencies come along.
MODULES=(phram nandsim 9p 9pnet_virtio virtio_pci virtio_console)
# What programs read from the kernel under /proc (as on a simulated gateway),
# and the partition list, which is the kernel's here.
PROC_ENTRIES=(self thread-self meminfo cpuinfo stat uptime loadavg mounts filesystems version cmdline sys
	net swaps vmstat mtd)
# Sanitizer runtimes open /proc/<pid> by number; the VM keeps pids below this.
PID_LINKS=1024

[ -s "$out/vmlinux" ] && [ -s "$out/base.cpio" ] && exit 0

package=$(apt-cache depends linux-image-amd64 | sed -n 's/^ *Depends: \(linux-image-[^ ]*-amd64\)$/\1/p' | head -n 1)
[ -n "$package" ] || {
	echo "fetch.sh: no linux-image-amd64 package known to apt" >&2
	exit 1
}
work=$out/fetch
rm -rf "$work"
mkdir -p "$work/deb" "$work/base/bin"
(cd "$work/deb" && apt-get download -q "$package" >/dev/null 2>&1) || {
	echo "fetch.sh: apt-get download $package failed" >&2
	exit 1
}
dpkg-deb -x "$work"/deb/*.deb "$work/unpacked"
version=$(ls "$work/unpacked/lib/modules")
modules=$work/unpacked/lib/modules/$version
busybox depmod -b "$work/unpacked" "$version"

# Every file the wanted modules need, from the package's own dependency list.
needed() {
	local m
	for m in "${MODULES[@]}"; do
		grep -E "/$m\.ko:" "$modules/modules.dep" | tr -d ':' | tr ' ' '\n'
	done | sed '/^$/d' | sort -u
}
needed >"$work/list"
[ "$(grep -c . "$work/list")" -ge ${#MODULES[@]} ] || {
	echo "fetch.sh: $package lacks a module of: ${MODULES[*]}" >&2
	exit 1
}
while read -r file; do
	mkdir -p "$work/base/lib/modules/$version/$(dirname "$file")"
	cp "$modules/$file" "$work/base/lib/modules/$version/$file"
done <"$work/list"
# The partition table module, built against the kernel's own headers.
headers=/usr/src/linux-headers-$version
if [ ! -f "$headers/Makefile" ]; then
	[ "$(id -u)" = 0 ] || {
		echo "fetch.sh: linux-headers-$version is missing (run as root to install)" >&2
		exit 1
	}
	DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "linux-headers-$version" >/dev/null
fi
mkdir -p "$work/module"
cp "$root/sim/kernel/gwsim_parts.c" "$work/module/"
echo 'obj-m := gwsim_parts.o' >"$work/module/Kbuild"
make -s -C "$headers" M="$work/module" modules 2>&1 | grep -v 'Skipping BTF' >&2 || true
[ -f "$work/module/gwsim_parts.ko" ] || {
	echo "fetch.sh: the partition table module did not build" >&2
	exit 1
}
mkdir -p "$work/base/lib/modules/$version/extra"
cp "$work/module/gwsim_parts.ko" "$work/base/lib/modules/$version/extra/"
busybox depmod -b "$work/base" "$version"
cp /bin/busybox "$work/base/bin/busybox"
mkdir -p "$work/base/gwproc"
for entry in "${PROC_ENTRIES[@]}"; do
	ln -s "/.gwsim/kproc/$entry" "$work/base/gwproc/$entry"
done
for ((pid = 1; pid < PID_LINKS; pid++)); do
	ln -s "/.gwsim/kproc/$pid" "$work/base/gwproc/$pid"
done
(cd "$work/base" && find . | busybox cpio -o -H newc -R 0:0 >"$work/base.cpio" 2>/dev/null)
# The compressed image carries the kernel as an xz stream after its own
# start-up code; xz stops at the stream's end and reports the rest.
image=$work/unpacked/boot/vmlinuz-$version
offset=$(LC_ALL=C grep -obUa $'\xfd7zXZ' "$image" | head -n 1 | cut -d: -f1)
[ -n "$offset" ] || {
	echo "fetch.sh: $image holds no xz-compressed kernel" >&2
	exit 1
}
tail -c +$((offset + 1)) "$image" | xz -dc >"$work/vmlinux" 2>/dev/null || true
[ "$(head -c 4 "$work/vmlinux" | od -An -tx1 | tr -d ' ')" = 7f454c46 ] || {
	echo "fetch.sh: cannot unpack the kernel from $image" >&2
	exit 1
}
mv "$work/base.cpio" "$out/base.cpio"
mv "$work/vmlinux" "$out/vmlinux"
echo "$package $version" >"$out/version"
rm -rf "$work"
