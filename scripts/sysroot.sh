#!/usr/bin/env bash
# Unpacks packages of another Debian release or architecture into a folder, to build against them.
#
# usage: scripts/sysroot.sh SUITE ARCHITECTURE FOLDER PACKAGE...
set -euo pipefail
if [ $# -lt 4 ]; then
    sed -n 's/^# usage/usage/p' "$0" >&2
    exit 64
fi
suite=$1 architecture=$2 folder=$3
shift 3

# A configuration of its own: the machine's packages are neither looked at nor changed.
mkdir -p "$folder"
folder=$(realpath "$folder")
state=$folder.apt
mkdir -p "$state"/{lists/partial,archives/partial}
: >"$state/status"
keyring=/usr/share/keyrings/debian-archive-keyring.gpg
echo "deb [signed-by=$keyring] http://deb.debian.org/debian $suite main" >"$state/sources.list"
apt=(apt-get -qq -o "APT::Architecture=$architecture" -o "APT::Architectures::=$architecture"
    -o "Dir::State=$state" -o "Dir::State::status=$state/status" -o "Dir::State::lists=$state/lists"
    -o "Dir::Cache=$state" -o "Dir::Cache::archives=$state/archives"
    -o "Dir::Etc::sourcelist=$state/sources.list" -o Dir::Etc::sourceparts=-
    -o APT::Sandbox::User=root)
"${apt[@]}" update
(cd "$state/archives" && "${apt[@]}" download "$@")
for package in "$state"/archives/*.deb; do
    dpkg-deb --extract "$package" "$folder"
done
rm -rf "$state"

# Links to absolute paths would lead out of the folder.
find "$folder" -type l -lname '/*' | while read -r link; do
    ln -sfn "$(realpath --no-symlinks --relative-to="$(dirname "$link")" "$folder$(readlink "$link")")" "$link"
done
