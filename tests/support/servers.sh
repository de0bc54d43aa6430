# shellcheck shell=bash
# Sourced by the shell tests. Sets "source" to the root of the tree and "work" to a new folder, and
# enters that. When the test ends, also by a signal, its servers and the process that it has in
# "client" are ended and the folder is removed.
set -euo pipefail
# shellcheck disable=SC2034 # for the test
source=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
work=$(mktemp -d)
server='' client=''
clean_up() {
  [ -z "$client" ] || kill -KILL "$client" || true
  [ -z "$server" ] || kill "$server" || true
  rm -rf "$work"
}
trap clean_up EXIT
cd "$work"

# fail MESSAGE   prints it and the file "output", and ends the test.
fail() {
  echo "$(basename "$0" _test.sh): $1" >&2
  [ ! -s output ] || cat output >&2
  exit 1
}

# serve SCENARIO COMMAND...   starts the servers, where COMMAND runs sturdyctl, and waits until they
# listen. SCENARIO is the path that COMMAND sees.
serve() {
  local scenario=$1
  shift
  : >serve.txt
  "$@" serve --scenario "$scenario" >serve.txt 2>&1 &
  server=$!
  until grep -q 'Ctrl-C' serve.txt; do
    kill -0 "$server" || fail "sturdyctl serve ended: $(cat serve.txt)"
    read -rt 0.05 <> <(:) || true
  done
}

# url NAME   prints the URL of a server, without a path.
url() {
  sed -nE "s/^$1 +//p" serve.txt
}
