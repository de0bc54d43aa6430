#!/bin/bash
# package_test.sh PACKAGES   checks the Debian packages in that folder: lintian is silent, documents
# link only to documents of their own package, the .pc file can be moved, and the installed sturdyctl
# fetches from the lab in a root that contains only the packages and their dependencies. Needs no
# network: the dependencies are copied from this system. Without root it uses a user namespace.
[ -d "${1:-}" ] || { echo "package_test.sh: PACKAGES must be a folder." >&2; exit 2; }
if [ "$(id -u)" -ne 0 ]; then
  exec unshare --map-root-user "$0" "$@"
fi
packages=$(readlink -f "$1")
# shellcheck source=tests/support/servers.sh
. "$(dirname "$0")/../support/servers.sh"

lintian --fail-on error,warning "$packages"/*.deb >output 2>&1 || fail "lintian complains"

for package in "$packages"/*.deb; do
  dpkg-deb -x "$package" unpacked
  find unpacked -name '*.md' | while read -r page; do
    # Code blocks may look like links.
    # shellcheck disable=SC2016 # backticks of Markdown
    sed '/^```/,/^```/d' "$page" | { grep -oE '\]\([^)#:]+[)#]' || true; } | sed 's/^..//; s/.$//' |
      while read -r link; do
        [ -e "$(dirname "$page")/$link" ] || echo "$page links to $link"
      done
  done >output
  [ ! -s output ] || fail "links that lead out of $(basename "$package"):"
  rm -rf unpacked
done

dpkg-deb -x "$packages"/libsturdy-comp-dev_*.deb moved
includes=$(PKG_CONFIG_PATH=$(find "$PWD/moved" -name pkgconfig) \
  pkg-config --variable=includedir sturdy_comp)
if [[ $includes != "$PWD"/moved/* ]] || [ ! -e "$includes/sturdy/sturdy.h" ]; then
  fail "the .pc file isn't relative to its own place: $includes"
fi

# Creates a root with the dependencies alone, known to its dpkg as installed.
ours=$(for package in "$packages"/*.deb; do dpkg-deb -f "$package" Package; done)
direct=$(for package in "$packages"/*.deb; do dpkg-deb -f "$package" Depends; done |
  tr ',|' '\n' | sed -E 's/\(.*//; s/ //g' | grep -vxF "$ours" | sort -u)
# shellcheck disable=SC2086 # a list of words
needed=$(apt-cache depends --recurse --installed --no-recommends --no-suggests --no-conflicts \
  --no-breaks --no-replaces --no-enhances $direct | grep -E '^[a-z0-9]' | sort -u)
mkdir -p root/var/lib/dpkg/{info,updates,triggers} root/tmp
# shellcheck disable=SC2086
dpkg-query --listfiles $needed | grep '^/' | sort -u |
  while read -r file; do
    [ ! -e "$file" ] || [ -d "$file" ] || printf '%s\n' "$file"
  done >files
tar -C / --no-recursion -cf - -T <(sed 's|^/||' files) | tar -C root -xf -
# shellcheck disable=SC2086
dpkg-query --status $needed >root/var/lib/dpkg/status
for name in $needed; do
  cp /var/lib/dpkg/info/"$name".list /var/lib/dpkg/info/"$name":*.list root/var/lib/dpkg/info/ \
    2>/dev/null || true
done
dpkg --root="$work/root" --install "$packages"/*.deb >output 2>&1 || fail "dpkg can't install them"

cp "$source/examples/lab.json" root/tmp/
serve /tmp/lab.json chroot root sturdyctl
chroot root sturdyctl link --wait --json --lbs "$(url lbs)/lbs/conf.jsp" --token key --data /tmp/data >output 2>&1 ||
  fail "the installed sturdyctl fails"
tr -d ' \n' <output | grep -qE '"list":\["127.0.0.1:[0-9]+","127.0.0.1:[0-9]+"\]' ||
  fail "the installed sturdyctl hasn't fetched the list"
echo "packages: done"
