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
# A database of them too, so that dpkg-shlibdeps knows which package brings which library since which version. dpkg
# names the files in it by their package alone if that is for all architectures.
database=$folder/var/lib/dpkg
mkdir -p "$database/info"
for package in "$state"/archives/*.deb; do
    dpkg-deb --extract "$package" "$folder"
    dpkg-deb --show --showformat='Package: ${Package}\nVersion: ${Version}\nArchitecture: all\nStatus: install ok installed
Maintainer: -\nDescription: -\n\n' "$package" >>"$database/status"
    name=$database/info/$(dpkg-deb --show --showformat='${Package}' "$package")
    dpkg-deb --fsys-tarfile "$package" | tar --list | sed "s,^\.,$folder," >"$name.list"
    for control in symbols shlibs; do
        dpkg-deb --info "$package" $control >"$name.$control" 2>/dev/null || rm "$name.$control"
    done
done
rm -rf "$state"

# Links to absolute paths would lead out of the folder.
find "$folder" -type l -lname '/*' | while read -r link; do
    ln -sfn "$(realpath --no-symlinks --relative-to="$(dirname "$link")" "$folder$(readlink "$link")")" "$link"
done
