#!/usr/bin/env bash
# debian-source.sh PACKAGE DIR: unpacks Debian's source package PACKAGE (with
# Debian's patches applied) into DIR/PACKAGE and prints that path. Nothing is
# fetched when it is already there.
#
# apt runs with its own source list and state under DIR, so the machine's apt
# configuration is neither needed nor changed.
set -eu
pkg=$1
dir=$(mkdir -p "$2" && cd "$2" && pwd)
out=$dir/$pkg
if [ -f "$out/.unpacked" ]; then
	printf '%s\n' "$out"
	exit 0
fi

apt_dir=$dir/apt
mkdir -p "$apt_dir/parts" "$apt_dir/lists/partial" "$apt_dir/cache/archives/partial" "$dir/download"
. /etc/os-release
cat >"$apt_dir/parts/debian-src.sources" <<SOURCES
Types: deb-src
URIs: http://deb.debian.org/debian
Suites: ${VERSION_CODENAME:-bookworm}
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
SOURCES
apt_opts=(-q -o Dir::Etc::SourceList=/dev/null -o "Dir::Etc::SourceParts=$apt_dir/parts"
	-o "Dir::State::Lists=$apt_dir/lists" -o "Dir::Cache=$apt_dir/cache"
	-o APT::Sandbox::User=root)
if ! ls "$apt_dir/lists/"*Sources* >/dev/null 2>&1; then
	apt-get "${apt_opts[@]}" update >&2
fi
(cd "$dir/download" && apt-get "${apt_opts[@]}" source --download-only "$pkg" >&2)
rm -rf "$out"
dsc=$(ls -t "$dir/download/${pkg}_"*.dsc | head -n 1)
dpkg-source --no-check -x "$dsc" "$out" >&2
touch "$out/.unpacked"
printf '%s\n' "$out"
