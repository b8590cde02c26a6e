#!/bin/bash
# fetch_source.sh FOLDER PACKAGE: a source package of the distribution, unpacked into FOLDER/source, without touching the
# machine's package lists.
set -eu
mkdir -p "$1"
dir=$(cd "$1" && pwd)
package=$2
[ -f "$dir/source/CMakeLists.txt" ] && exit 0
mkdir -p "$dir/lists/partial"
if [ -f /etc/apt/sources.list.d/debian.sources ]; then
    awk '/^URIs:/{u=$2}/^Suites:/{$1="";s=$0}/^Components:/{$1="";c=$0}/^Signed-By:/{k="[signed-by="$2"] "}
         /^$/{f()}END{f()} function f(n,a,i){if(u){n=split(s,a," ");for(i=1;i<=n;i++)print "deb-src " k u " " a[i] c;u=k=""}}' \
        /etc/apt/sources.list.d/debian.sources >"$dir/src.list"
else
    sed -n 's/^deb /deb-src /p' /etc/apt/sources.list >"$dir/src.list"
fi
options="-o Dir::Etc::sourcelist=$dir/src.list -o Dir::Etc::sourceparts=/dev/null -o Dir::State::lists=$dir/lists
    -o Dir::Cache::pkgcache= -o Dir::Cache::srcpkgcache="
cd "$dir"
if ! { apt-get -qq $options update && apt-get -qq $options --download-only source "$package"; } >fetch.log 2>&1; then
    tail -n 5 fetch.log >&2
    echo "bench: cannot get the sources of $package" >&2
    exit 1
fi
mkdir -p source
tar xf "$package"_*.orig.tar.gz -C source --strip-components=1
