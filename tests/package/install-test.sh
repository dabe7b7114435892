#!/usr/bin/env bash
# install-test.sh PACKAGE_DIR VERSION
#
# Installs PACKAGE_DIR/quillmate_VERSION_*.deb into an empty Debian 12 (minbase) root with apt, so
# that only the package's own dependencies are there, as on a user's machine, and runs the
# installed program in it. The base root comes from debootstrap once and is kept as a tarball
# (/tmp/fresh-root.tar, or ${TMPDIR:-/tmp}/fresh-root.tar); every run unpacks a new copy and
# removes it afterwards. The mounts are made in a mount namespace of their own, so they end with
# the test however it ends. Needs root and the network: without them it says why and exits 77,
# which CTest reports as skipped.
set -euo pipefail

readonly SKIP=77
readonly ICON_SIZES=(16 24 32 48 64 128 256)

skip() {
  echo "SKIPPED: $*"
  exit $SKIP
}
fail() {
  echo "FAILED: $*" >&2
  exit 1
}
# Seconds since the test began, across the namespaced part too.
: "${QUILLMATE_PACKAGE_TEST_START:=$(date +%s)}"
export QUILLMATE_PACKAGE_TEST_START
step() { echo "== [$(($(date +%s) - QUILLMATE_PACKAGE_TEST_START))s] $*"; }

# Runs inside the mount namespace: install the package in ROOT and use the program there.
inside() {
  local root=$1 deb=$2 version=$3
  # shellcheck disable=SC2064 # the paths are fixed now; the function's locals are gone at exit
  trap "umount $(printf '%q ' "$root/dev" "$root/proc") 2>/dev/null || true" EXIT
  mount -t proc proc "$root/proc"
  mount --bind /dev "$root/dev"
  in_root() {
    chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 \
      DEBIAN_FRONTEND=noninteractive "$@"
  }

  # Old indexes would let a missing network look like a broken package; start without any.
  step "apt-get update in the empty root"
  rm -rf "$root"/var/lib/apt/lists/*
  in_root apt-get update -q || true
  compgen -G "$root/var/lib/apt/lists/*_Packages*" >/dev/null ||
    skip "apt-get update fetched no package index (no network or mirror)"

  step "apt-get install ./$deb"
  in_root sh -c "cd /tmp && apt-get install -y -q --no-install-recommends ./$deb" ||
    fail "apt-get could not install $deb into an empty Debian 12 root"
  local status
  # shellcheck disable=SC2016 # dpkg-query's fields, not the shell's
  status=$(in_root dpkg-query -W -f='${Status} ${Version}' quillmate)
  [[ "$status" == "install ok installed $version" ]] || fail "dpkg reports '$status'"

  step "quillmate --version"
  local printed
  printed=$(in_root quillmate --version) || fail "quillmate --version exited $?"
  [[ "$printed" == "$version" ]] || fail "quillmate --version printed '$printed', not '$version'"

  # Every command the program's usage names is set in bold somewhere in the manual page, as its
  # synopsis and its list do.
  local usage commands manual command
  usage=$(in_root quillmate --help) || fail "quillmate --help exited $?"
  commands=$(sed -n 's/^  \([a-z-][a-z-]*\).*/\1/p' <<<"$usage")
  [[ $'\n'"$commands"$'\n' == *$'\n'init$'\n'* ]] || fail "quillmate --help lists no commands: $usage"
  manual=$(zcat "$root/usr/share/man/man1/quillmate.1.gz" | sed 's/\\-/-/g')
  while read -r command; do
    grep -qE "^\.B[IR]? $command( |\$)" <<<"$manual" ||
      fail "the manual page does not describe '$command', which quillmate --help names"
  done <<<"$commands"

  step "quillmate --data-dir /tmp/qm init"
  in_root quillmate --data-dir /tmp/qm init || fail "quillmate init exited $?"
  local name
  for name in config.ini assistant.dll personal.dll pylib.dll; do
    [[ -s "$root/tmp/qm/$name" ]] || fail "init left no $name in the program folder"
  done
  # The table can only have come from the package's share folder: nothing else ships it.
  cmp "$root/usr/share/quillmate/pylib.dll" "$root/tmp/qm/pylib.dll" ||
    fail "the program folder's pylib.dll differs from the shipped one"
  in_root quillmate --data-dir /tmp/qm search nh >/dev/null ||
    fail "quillmate search on the new program folder exited $?"
}

png_size() {
  local header
  header=$(od -An -tx1 -j16 -N8 "$1" | tr -d ' \n')
  echo "$((16#${header:0:8}))x$((16#${header:8:8}))"
}

# What the desktop finds: the launcher entry, the icons at every size and the manual page.
check_desktop_files() {
  local root=$1
  step "desktop entry, icons and manual page"
  local entry=$root/usr/share/applications/quillmate.desktop
  [[ -f "$entry" ]] || fail "no desktop entry at /usr/share/applications/quillmate.desktop"
  command -v desktop-file-validate >/dev/null ||
    fail "desktop-file-validate is missing (scripts/install-deps.sh --test installs it)"
  desktop-file-validate "$entry" || fail "the desktop entry is not valid"
  local line
  for line in 'Name=客服Tavro' 'Exec=quillmate' 'Icon=quillmate' 'Type=Application'; do
    grep -qxF "$line" "$entry" || fail "the desktop entry lacks '$line'"
  done
  [[ -x "$root/usr/bin/$(sed -n 's/^Exec=//p' "$entry")" ]] ||
    fail "the desktop entry starts a program that is not in /usr/bin"

  local size icon
  for size in "${ICON_SIZES[@]}"; do
    icon=$root/usr/share/icons/hicolor/${size}x${size}/apps/quillmate.png
    [[ -f "$icon" ]] || fail "no icon of ${size}x${size}"
    [[ "$(od -An -tx1 -N8 "$icon" | tr -d ' \n')" == 89504e470d0a1a0a ]] ||
      fail "the ${size}x${size} icon is not a PNG file"
    [[ "$(png_size "$icon")" == "${size}x${size}" ]] ||
      fail "the ${size}x${size} icon measures $(png_size "$icon")"
  done

  local man=$root/usr/share/man/man1/quillmate.1.gz
  gzip -t "$man" 2>/dev/null || fail "no readable manual page at /usr/share/man/man1/quillmate.1.gz"
  local manual topic
  manual=$(zcat "$man" | sed 's/\\-/-/g')
  for topic in '^\.TH QUILLMATE 1' '--data-dir' 'QUILLMATE_HOME' '^\.SH EXIT STATUS'; do
    grep -q -e "$topic" <<<"$manual" || fail "the manual page lacks '$topic'"
  done
}

if [[ "${1:-}" == --inside ]]; then
  inside "$2" "$3" "$4"
  exit 0
fi

[[ $# -eq 2 ]] || fail "usage: install-test.sh PACKAGE_DIR VERSION"
package_dir=$1
version=$2

[[ $(id -u) -eq 0 ]] || skip "installing into a Debian root needs root (chroot, mount); run as root"
for tool in chroot unshare mount tar; do
  command -v "$tool" >/dev/null || skip "$tool is not installed"
done
# Mounts go into a namespace of their own where one can be made; inside a chroot, whose root is
# no mount point, it cannot, and the traps that unmount are all there is.
isolated() {
  if unshare --mount --propagation private true 2>/dev/null; then
    unshare --mount --propagation private "$@"
  else
    "$@"
  fi
}
shopt -s nullglob
debs=("$package_dir"/quillmate_"$version"_*.deb)
shopt -u nullglob
[[ ${#debs[@]} -eq 1 ]] ||
  fail "expected one quillmate_${version}_*.deb in $package_dir (package_build makes it), found ${#debs[@]}"
deb=${debs[0]}
echo "package: $deb ($(du -k "$deb" | cut -f1) KiB)"

tmp=${TMPDIR:-/tmp}
base=/tmp/fresh-root.tar
[[ -f "$base" ]] || base=$tmp/fresh-root.tar
work=$(mktemp -d "$tmp/quillmate-package.XXXXXX")
cleanup() {
  # A mount still there would make rm reach into the host; leave the folder instead.
  if grep -qF " $work/" /proc/mounts; then
    echo "mounts are left under $work; it is not removed" >&2
  else
    rm -rf --one-file-system "$work"
  fi
}
trap cleanup EXIT

if [[ ! -f "$base" ]]; then
  command -v debootstrap >/dev/null ||
    skip "no base root at $base and debootstrap is not installed (scripts/install-deps.sh --test)"
  # A deb822 source file on an installed system; a debootstrapped one has sources.list only.
  mirror=$({ sed -n 's/^URIs: //p' /etc/apt/sources.list.d/debian.sources 2>/dev/null ||
    true; } | head -1)
  [[ -n "$mirror" ]] || mirror=$({ sed -n 's/^deb \(http[^ ]*\) bookworm .*/\1/p' \
    /etc/apt/sources.list 2>/dev/null || true; } | head -1)
  mirror=${mirror:-http://deb.debian.org/debian}
  step "debootstrap --variant=minbase bookworm from $mirror (kept as $base)"
  if ! isolated \
    debootstrap --variant=minbase bookworm "$work/base" "$mirror" >"$work/debootstrap.log" 2>&1; then
    tail -n 5 "$work/debootstrap.log"
    skip "debootstrap could not make a Debian 12 root (no network or mirror)"
  fi
  tar -C "$work/base" -cf "$base.$$" . && mv "$base.$$" "$base"
  rm -rf --one-file-system "$work/base"
fi

step "unpacking $base"
root=$work/root
mkdir "$root"
tar -C "$root" -xf "$base"
cp -L /etc/resolv.conf "$root/etc/resolv.conf"
cp "$deb" "$root/tmp/"
chmod 644 "$root/tmp/$(basename "$deb")"

rc=0
isolated "$0" --inside "$root" "$(basename "$deb")" "$version" || rc=$?
[[ $rc -eq 0 ]] || exit $rc
check_desktop_files "$root"
step "passed"
