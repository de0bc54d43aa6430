#!/bin/bash
# guide_log_test.sh STURDYCTL GUIDE   plays the scenario of the client guide and fails if a line of
# the guide's example log doesn't come, or comes in another order. The servers get free ports; the
# log is compared with the guide's.
[ $# -eq 2 ] || { echo "guide_log_test.sh: the arguments must be STURDYCTL GUIDE." >&2; exit 2; }
# shellcheck source=tests/support/servers.sh
. "$(dirname "$0")/../support/servers.sh"
sturdyctl=$1 guide=$2

# Prints the code blocks of a heading.
block_of() {
  sed -n "/^##* $1/,/^##* /p" "$guide" | sed -n '/^```'"$2"'$/,/^```$/p' | sed '/^```/d'
}

block_of 'Rehearse it' json | sed -n '1,/^}/p' >scenario.json
ports=$(sed -nE 's/.*"name": "([a-z]+)", "port": ([0-9]+).*/\1 \2/p' scenario.json)
sed -i -E 's/"port": [0-9]+/"port": 0/' scenario.json
# At a silent server the 2 s of the URL and of its transfer end together, in any order. A server that
# doesn't connect leaves the transfer more time and the same lines.
sed -i 's/"listening": "silent"/"listening": "never_connect"/' scenario.json
grep -q never_connect scenario.json
serve scenario.json "$sturdyctl"
"$sturdyctl" link --wait --count 2 --token key --data data --lbs "$(url silent)/lbs/conf.jsp" \
  --lbs "$(url broken)/lbs/conf.jsp" --lbs "$(url good)/lbs/conf.jsp" >/dev/null

"$sturdyctl" log data | sed -E 's/^[-0-9]+ [.:0-9]+ [-0-9]+ \[LV_APP\] //' >lines
while read -r name port; do
  actual=$(url "$name")
  sed -i "s/:${actual##*:}\b/:$port/" lines
done <<<"$ports"

# The guide's notes begin with an arrow.
block_of 'An example' '' | sed -E 's/ +-> .*//' >expected
[ "$(wc -l <expected)" -ge 10 ]
awk 'NR == FNR { expected[++count] = $0; next }
     next_line < count && $0 == expected[next_line + 1] { ++next_line }
     END { if (next_line < count) { print "not in the log: " expected[next_line + 1]; exit 1 } }' \
  expected lines || { cat lines; exit 1; }
