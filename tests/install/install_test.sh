#!/bin/bash
# install_test.sh BUILD CMAKE CXX   installs a build to a new prefix, moves the prefix, and builds and
# runs the examples against it. The installed sturdyctl plays their servers.
[ $# -eq 3 ] || { echo "install_test.sh: the arguments must be BUILD CMAKE CXX." >&2; exit 2; }
# shellcheck source=tests/support/servers.sh
. "$(dirname "$0")/../support/servers.sh"
build=$1 cmake=$2
export CXX=$3
unset CMAKE_CXX_COMPILER_LAUNCHER LD_LIBRARY_PATH PKG_CONFIG_PATH
quietly() {
  "$@" >output 2>&1 || fail "failed: $*"
}
# Compares the last output with stdin. A port is written as N.
expect() {
  diff <(sed -E 's/:[0-9]+/:N/' output) - || fail "the output differs"
}

quietly "$cmake" --install "$build" --prefix "$work/first"
mv first moved
prefix="$work/moved"
library=$(find "$prefix" -name libsturdy_comp.so)
pc=$(find "$prefix" -name pkgconfig)
! grep -rIlE "$work/first|$source|$build" "$prefix" >output || fail "these files contain a folder of the build"
[ "$(readlink "$library")" = libsturdy_comp.so.0 ] || fail "the library has no soname"
examples=$(find "$prefix" -name examples)

serve "$examples/lab.json" "$prefix/bin/sturdyctl"
document=$(url lbs)/lbs/conf.jsp

quietly "$cmake" -S "$examples/find_package" -B found "-DCMAKE_PREFIX_PATH=$prefix"
quietly "$cmake" --build found
quietly found/client "$document" "$work/data"
expect <<<'127.0.0.1:N refused
127.0.0.1:N connected'

# A minor version of 0.x may break a client's build, so only the installed one is accepted.
for version in 0.0 0.2; do
  cp -r "$examples/find_package" "wants_$version"
  sed -i "s/sturdy_comp 0.1/sturdy_comp $version/" "wants_$version/CMakeLists.txt"
  ! "$cmake" -S "wants_$version" -B "wants_$version/build" "-DCMAKE_PREFIX_PATH=$prefix" \
    >output 2>&1 || fail "find_package accepts $version"
  grep -q "requested version \"$version\"" output || fail "find_package $version fails for another reason"
done

cp -r "$examples/pkg_config" "$examples/dlopen" .
quietly make -C pkg_config "PKG_CONFIG_PATH=$pc"
quietly pkg_config/client "$document" "$work/data2"
expect <<<'192.0.2.1:N
code 200
127.0.0.1:N
127.0.0.1:N'

quietly make -C dlopen "PKG_CONFIG_PATH=$pc"
quietly dlopen/client "$library" "$document" "$work/data3"
expect <<<'127.0.0.1:N'

# A new list ends the loop's pause, which is random up to a day, and the old one again doesn't. The
# default is silent. Of the new server's name, perhaps only the second address accepts. SIGTERM ends
# the pause too.
kill "$server"
cat >loop.json <<'END'
{"servers": [
  {"name": "down", "listening": "refuse"},
  {"name": "silent", "listening": "never_connect"},
  {"name": "up", "listening": "close"},
  {"name": "lbs", "routes": [
    {"path": "/moves", "behaviours": [
      {"json": {"common": {"link": ["${down}"], "link.default": ["${silent}"], "lbs": "${url:lbs}/moves"}}},
      {"json": {"common": {"link": ["${down}"], "link.default": ["${silent}"], "lbs": "${url:lbs}/moves"}}},
      {"json": {"common": {"link": ["localhost:${port:up}"], "link.default": ["${silent}"], "lbs": "${url:lbs}/moves"}}}]},
    {"path": "/stays", "behaviours": [
      {"json": {"common": {"link": ["${down}"], "link.default": ["${down}"], "lbs": "${url:lbs}/stays"}}}]}]}
]}
END
serve loop.json "$prefix/bin/sturdyctl"
# Starts the client and waits until it pauses, after the server of its list and the default.
loop() {
  : >output
  timeout --foreground 60 found/client "$(url lbs)/$1" "$work/$1" 86400000 >output 2>&1 &
  client=$!
  until [ "$(grep -c refused output)" = 2 ]; do
    kill -0 "$client" || fail "the loop ended"
    read -rt 0.05 <> <(:) || true
  done
}
loop moves
while kill -HUP "$client" 2>/dev/null; do
  read -rt 0.05 <> <(:) || true
done
wait "$client" || fail "the loop failed"
expect <<<'127.0.0.1:N refused
127.0.0.1:N refused
localhost:N connected'
loop stays
kill -TERM "$client"
wait "$client" && fail "the loop connected"
[ $? = 1 ] || fail "SIGTERM killed the client"
client=

quietly "$cmake" -S "$source/tests/install/sub_project" -B inside "-DSTURDY=$source"

# The page and the completion know each command of --help, and the completion an option's values.
page=$(find "$prefix" -name sturdyctl.1)
# shellcheck source=/dev/null # generated
. "$(find "$prefix" -path '*completions/sturdyctl')"
commands=$("$prefix/bin/sturdyctl" --help | sed '1,/^Subcommands/d' | sed -nE 's/^  ([a-z-]+) .*/\1/p')
COMP_WORDS=(sturdyctl '') COMP_CWORD=1
_sturdyctl
for command in ${commands:?}; do
  grep -q "^.SS ${command//-/\\\\-}\$" "$page" || fail "the page lacks $command"
  [[ " ${COMPREPLY[*]} " == *" $command "* ]] || fail "the completion lacks $command"
done
COMP_WORDS=(sturdyctl link --family v) COMP_CWORD=3
_sturdyctl
[ "${COMPREPLY[*]}" = "v4 v6" ] || fail "the completion of --family: ${COMPREPLY[*]}"
echo "install: done"
