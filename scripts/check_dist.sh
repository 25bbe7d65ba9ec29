#!/bin/sh
# Checks what `make dist` has made: check_dist.sh VERSION. Installs the Debian package into a system root of its own
# below build/check-dist, unpacks the archives beside it and runs the programs (that for Windows where wine is
# installed). Then builds as test farms do.
set -eu
cd "$(dirname "$0")/.."
version=$1
root=build/check-dist

fail() {
    echo "check-dist: $*" >&2
    exit 1
}

check_version() { # command that runs the program
    said=$("$@" --version </dev/null) || fail "$* does not run"
    [ "$said" = "Tarn $version" ] || fail "$* is '$said', not 'Tarn $version'"
    echo "$*: $said"
}

rm -rf "$root"
mkdir -p "$root"
(cd dist && sha256sum -c ./*.sha256)

mkdir -p "$root/deb/var/lib/dpkg/updates" "$root/deb/var/lib/dpkg/info"
: >"$root/deb/var/lib/dpkg/status"
# The libraries it depends on are those of this machine.
PATH=$PATH:/usr/sbin:/sbin dpkg --root="$PWD/$root/deb" --log=/dev/null --force-not-root --force-depends \
    --install dist/tarn_"$version"-*.deb >"$root/dpkg.log" 2>&1 || fail "$(cat "$root/dpkg.log")"
check_version "$root/deb/usr/games/tarn"
for file in games/tarn share/man/man6/tarn.6.gz share/bash-completion/completions/tarn share/doc/tarn/copyright \
    share/doc/tarn/changelog.gz share/doc/tarn/changelog.Debian.gz share/doc/tarn/users-guide.md; do
    [ -f "$root/deb/usr/$file" ] || fail "the Debian package lacks /usr/$file"
done
dpkg -I dist/tarn_"$version"-*.deb | grep -q 'Depends:.*libc6' || fail "the Debian package has no computed dependencies"
if command -v lintian >/dev/null 2>&1; then lintian --allow-root dist/*.deb; fi

for system in linux windows; do
    name=tarn-$version-$system-x86_64
    (cd "$root" && cmake -E tar xf ../../dist/"$name".*[pz]) # .tar.gz, .zip
    [ -s "$root/$name/LICENSE" ] && [ -s "$root/$name/docs/users-guide.md" ] || fail "$name lacks the guide or the licence"
done
check_version "$root/tarn-$version-linux-x86_64/tarn"
if ldd "$root/tarn-$version-linux-x86_64/tarn" >/dev/null 2>&1; then fail "the archive's program is not static"; fi
if command -v wine >/dev/null 2>&1; then
    export WINEPREFIX="$PWD/build/wine" WINEDEBUG=-all
    check_version wine "$root/tarn-$version-windows-x86_64/tarn.exe"
fi

${MAKE:-make} -s -j EXE="$root/farm" >/dev/null
nodes=$("$root/farm" bench </dev/null | tail -n 1)
recorded=$(sed -n 's/^bench \([0-9]*\) .*/\1/p' Tests/data/bench_signature.txt)
case $nodes in
"$recorded nodes "*" nps") echo "make EXE=...: $nodes" ;;
*) fail "the farm's program ends its benchmark with '$nodes', recorded are $recorded nodes" ;;
esac
