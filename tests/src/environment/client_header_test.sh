#!/bin/bash
# client_header_test.sh STURDYCTL LIBRARY CXX README_EXAMPLE   compiles the two clients of the wrapper
# as C++11 with the warnings that clients like to use, and runs the one of the examples.
[ $# -eq 4 ] || { echo "client_header_test.sh: the arguments must be STURDYCTL LIBRARY CXX README_EXAMPLE." >&2; exit 2; }
# shellcheck source=tests/support/servers.sh
. "$(dirname "$0")/../../support/servers.sh"
sturdyctl=$1 library=$2 cxx=$3

for client in "$4" "$source/examples/find_package/client.cpp"; do
  "$cxx" -std=c++11 -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror -I "$source/include" "$client" \
    -o client "$library" "-Wl,-rpath,$(dirname "$library")" >output 2>&1 || fail "$client doesn't compile"
done
serve "$source/examples/lab.json" "$sturdyctl"
./client "$(url lbs)/lbs/conf.jsp" data >output || fail "the client found no server"
diff <(sed -E 's/:[0-9]+/:N/' output) - <<<'127.0.0.1:N refused
127.0.0.1:N connected'
