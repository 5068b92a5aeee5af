#!/usr/bin/env bash
# What the store commands cost now that the configuration lives in the
# gateway's configuration daemon. All instruction counts (callgrind), from
# one run on one fresh gateway:
#   - the sys process of each store command against the invocation floor
#     (bench/invocation_floor.c), and against the same floor linked to the
#     platform's two libraries as every invocation of the gateway's sys is;
#     both as the simulated gateway runs them (every dynamic program there
#     preloads the simulated kernel's drivers, the floor too), and again
#     without that preload, as on a gateway, where the kernel is the kernel;
#   - whole invocations of `sys wlan save` with 5 pending changes and of
#     `sys Wan Save`: sys and its children, plus what the daemon, the
#     configuration writer and the flash utility spend on the request;
#   - the tcapi client's process for one `tcapi get`.
# The daemon's share is measured by running it under callgrind (children
# traced) from its first request to its end, once with the command and once
# without; the difference is the command's.
#   bench/store.sh
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
# shellcheck source=gateway_bench.sh
. "$root/bench/gateway_bench.sh"
sdk=$build/vendor-sdk
cc -O2 -o "$gw/tmp/floor" "$root/bench/invocation_floor.c"
# Linked as sys is: the C library first among the libraries it needs.
cc -O2 -o "$gw/tmp/floor-platform" "$root/bench/invocation_floor.c" -L"$sdk/lib" \
	-Wl,--no-as-needed -lc -ltcapi -lutility -Wl,-rpath,/userfs/lib

# The daemon under callgrind: the init starts this wrapper whenever the
# daemon is gone.
mv "$gw/userfs/bin/cfgd" "$gw/userfs/bin/cfgd.real"
printf '#!/bin/busybox sh\nexec env VALGRIND_LIB=/tmp/vg /tmp/vg/valgrind.bin --tool=callgrind --trace-children=yes --callgrind-out-file=/tmp/cgd/out.%%p /userfs/bin/cfgd.real\n' \
	>"$gw/userfs/bin/cfgd"
chmod +x "$gw/userfs/bin/cfgd"
gwrun mkdir -p /tmp/cgd

# A run that keeps the gateway up: an idle gateway's init leaves.
gwrun sleep 3600 </dev/null >/dev/null 2>&1 &
keeper=$!
trap 'kill $keeper 2>/dev/null; rm -rf "$work"' EXIT

daemon_pid() {
	local ns p
	ns=$(gwrun readlink /proc/self/ns/user)
	for p in /proc/[0-9]*; do
		if [ "$(readlink "$p/ns/user" 2>/dev/null)" = "$ns" ] && grep -q cfgd.real "$p/cmdline" 2>/dev/null; then
			printf '%s\n' "${p#/proc/}"
			return 0
		fi
	done
	return 1
}

# Ends the daemon, lets the init start it again with no output of callgrind
# left, and waits for its first answer.
restart_daemon() {
	local pid
	pid=$(daemon_pid) || true
	[ -n "$pid" ] && kill "$pid"
	while [ "$(daemon_pid || true)" = "$pid" ]; do sleep 0.1; done
	rm -f "$gw"/tmp/cgd/out.*
	until gwrun tcapi get Timezone_Entry SERVER1 >/dev/null 2>&1; do sleep 0.1; done
}

# daemon_cost CMD...: what the daemon (with the writer and the flash
# utility) spends from a fresh start and one get to its end, with CMD run
# in between (none: nothing).
daemon_cost() {
	local pid total=0 f n
	restart_daemon
	[ "$*" = none ] || gwrun "$@" >/dev/null
	pid=$(daemon_pid)
	kill "$pid"
	while kill -0 "$pid" 2>/dev/null; do sleep 0.1; done
	for f in "$gw"/tmp/cgd/out.*; do
		n=$(sed -n 's/^totals: *\([0-9]*\).*/\1/p' "$f")
		total=$((total + ${n:-0}))
	done
	echo "$total"
}

# sys_cost CMD...: the sys process and its children.
sys_cost() {
	gwrun env VALGRIND_LIB=/tmp/vg /tmp/vg/valgrind.bin --tool=callgrind --trace-children=yes \
		--callgrind-out-file=/tmp/cgs.%p "$@" >/dev/null 2>&1
	local total=0 f n
	for f in "$gw"/tmp/cgs.*; do
		n=$(sed -n 's/^totals: *\([0-9]*\).*/\1/p' "$f")
		total=$((total + ${n:-0}))
	done
	rm -f "$gw"/tmp/cgs.*
	echo "$total"
}

select_wan='sys Wan Index 0; sys Wan VirtualChannel 0'
# store_commands PRELOAD: the table, with the gateway's /etc/ld.so.preload
# (PRELOAD yes) or without it.
store_commands() {
	local preload=$gw/etc/ld.so.preload floor floor_platform setup cmd words n
	[ "$1" = yes ] || mv "$preload" "$preload.off"
	floor=$(instructions /tmp/floor)
	floor_platform=$(instructions /tmp/floor-platform)
	printf 'floor %d, floor linked to libtcapi and libutility %d\n' "$floor" "$floor_platform"
	printf '%-34s %12s %8s %8s\n' command instructions /floor /floor+libs
	# setup (run first, not measured) | command
	while IFS='|' read -r setup cmd; do
		[ -n "$setup" ] && gwrun sh -c "$setup" >/dev/null
		read -ra words <<<"$cmd"
		n=$(instructions /userfs/bin/"${words[@]}")
		printf '%-34s %12d %8s %8s\n' "$cmd" "$n" "$(ratio "$n" "$floor")" "$(ratio "$n" "$floor_platform")"
	done <<EOF
|sys wan2lan
|sys times
|sys times address1 ntp9.example
$select_wan|sys Wan VPI 8
|sys Wan Display
|sys Wan Save
|sys Wan PrimaryDNS 9.9.9.9
|sys snmp Display
|sys snmp GetCommunity public2
|sys snmp Save
|sys remmgmt appindex 8
|sys remmgmt ipbegin 1 198.51.100.10
|sys remmgmt save
|sys wlan dispinfo
|sys wlan channel 11
EOF
	[ "$1" = yes ] || mv "$preload.off" "$preload"
}
# A first pass leaves the store and the wireless journal as each measured
# pass finds them.
store_commands yes >/dev/null
printf 'as the simulated gateway runs them (the simulated kernel preloaded):\n'
store_commands yes
printf '\nwithout the simulated kernel, as on a gateway:\n'
store_commands no

# The README's wireless session: 5 pending changes.
pending='sys wlan channel 11; sys wlan ssid 0 Larkspur-Home; sys wlan securitymode 0 wpa2psk aes river-stone-42;'
pending+=' sys wlan macfilter add 0 02:5E:10:00:00:01; sys wlan macfilter del 0 3C:22:FB:91:07:A4'
floor=$(instructions /tmp/floor)
base=$(daemon_cost none)
printf '\nwhole invocations (sys, its children, the daemon, the writer, the flash utility):\n'
# setup | command
while IFS='|' read -r setup cmd; do
	gwrun sh -c "$setup" >/dev/null
	read -ra words <<<"$cmd"
	s=$(sys_cost /userfs/bin/"${words[@]}")
	gwrun sh -c "$setup" >/dev/null
	d=$(($(daemon_cost /userfs/bin/"${words[@]}") - base))
	printf '%-34s sys %10d  daemon and writer %10d  whole %10d (%s x floor)\n' "$cmd" "$s" "$d" "$((s + d))" \
		"$(ratio $((s + d)) "$floor")"
done <<EOF
$pending|sys wlan save
$select_wan; sys Wan VPI 9|sys Wan Save
EOF
printf '\ntcapi get (client process) %d\n' "$(instructions /userfs/bin/tcapi get Timezone_Entry SERVER1)"
