#!/bin/bash
# windows_zip_test.sh ZIP   checks the zip for Windows: it has the files that its README names and no
# other, a client in C++11 builds with them, and that client and sturdyctl.exe run under Wine.
set -euo pipefail
zip=$(readlink -f "$1") support=$(readlink -f "$(dirname "$0")/../support")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
fail() {
  echo "windows_zip: $1" >&2
  [ ! -s "$work/output" ] || cat "$work/output" >&2
  exit 1
}

# shellcheck source=tests/support/wine.sh
. "$support/wine.sh"

cmake -E tar xf "$zip"
cd sturdy-comp-*-windows-x86_64
diff - <(find . -type f | LC_ALL=C sort) <<'END' >../output || fail "other files than expected"
./LICENSE
./README.txt
./bin/sturdy_comp.dll
./bin/sturdyctl.exe
./doc/SECURITY.md
./doc/architecture.md
./doc/client-guide.md
./doc/lab-scenario.md
./doc/log-and-cache-files.md
./include/sturdy/backoff.h
./include/sturdy/client.h
./include/sturdy/sturdy.h
./lib/libsturdy_comp.dll.a
./licences/CLI11.txt
./licences/d3.txt
./licences/gcc.txt
./licences/mingw-w64.txt
./licences/nlohmann-json.txt
END
[ "$(wc -l <README.txt)" -eq 10 ] || fail "README.txt hasn't ten lines"

cat >client.cpp <<'END'
#include <cstdio>

#include "sturdy/backoff.h"
#include "sturdy/client.h"

int main() {
  sturdy::Settings settings;
  settings.data_path = "data";
  settings.default_link_v4 = "192.0.2.1:443";
  sturdy::Client client(settings);
  std::puts(client.NextLink().HostPort().c_str());
}
END
x86_64-w64-mingw32-g++-posix -std=c++11 -Wall -Wextra -Wconversion -Werror -static -Iinclude \
  client.cpp lib/libsturdy_comp.dll.a -o bin/client.exe >../output 2>&1 || fail "a client doesn't compile"
# Only the DLL is next to the program, so an import that isn't the system's would stop it.
timeout -s KILL 60 wine bin/client.exe >../output 2>/dev/null </dev/null || fail "the client fails"
grep -q '192.0.2.1:443' ../output || fail "the client has another answer"
timeout -s KILL 60 wine bin/sturdyctl.exe state data >../output 2>/dev/null </dev/null ||
  fail "sturdyctl.exe fails"
grep -q '192.0.2.1:443' ../output || fail "sturdyctl.exe doesn't find the client's document"
echo "windows zip: done"
