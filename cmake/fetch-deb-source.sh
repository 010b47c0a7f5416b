#!/usr/bin/env bash
# fetch-deb-source.sh PACKAGE DEST
#
# Unpacks the upstream source of a Debian source package into DEST (skipped
# when DEST already holds it). apt works in a private directory: its deb-src
# entries are derived from the machine's own apt sources, and the machine's
# package lists and cache are left as they are.
set -euo pipefail
package=$1
dest=$2
if [ -f "$dest/.fetched" ]; then
    exit 0
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/lists/partial" "$work/cache/archives/partial" "$work/parts" "$work/src"
: > "$work/sources.list"
shopt -s nullglob
for f in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
    [ -f "$f" ] || continue
    sed -n 's/^[[:space:]]*deb[[:space:]]/deb-src /p' "$f" >> "$work/sources.list"
done
for f in /etc/apt/sources.list.d/*.sources; do
    sed -E 's/^Types:.*/Types: deb-src/' "$f" > "$work/parts/$(basename "$f")"
done

apt_private=(-o "Dir::Etc::SourceList=$work/sources.list" -o "Dir::Etc::SourceParts=$work/parts"
             -o "Dir::State::Lists=$work/lists" -o "Dir::Cache=$work/cache"
             -o APT::Sandbox::User=root -qq)
apt-get "${apt_private[@]}" update
(cd "$work/src" && apt-get "${apt_private[@]}" source --download-only "$package")

orig=("$work"/src/*.orig.tar.*)
if [ ${#orig[@]} -ne 1 ]; then
    echo "fetch-deb-source.sh: no single upstream tarball for $package" >&2
    exit 1
fi
rm -rf "$dest"
mkdir -p "$dest"
tar -xf "${orig[0]}" -C "$dest" --strip-components=1
touch "$dest/.fetched"
echo "fetch-deb-source.sh: $(basename "${orig[0]}") unpacked into $dest"
