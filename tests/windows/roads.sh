#!/bin/bash
# roads.sh STURDYCTL STURDYCTL.EXE   drives the builds for Linux and for Windows through the same
# scenarios against the same servers, one after the other, and compares what their clients logged and
# cached. Needs Wine, and its folder in WINEPREFIX.
#
# What differs by nature, and is made equal before the comparison:
#   times, ids, durations   differ from run to run. What a transfer took for its steps is among them:
#                           WinHTTP tells of fewer steps
#   the data folder         is a path of Windows there
#   the order of threads    is chance, so each thread's lines are compared by themselves. A [transfer]
#                           line comes from any worker
# No scenario has an unreachable server: WinHTTP reports it as refused (docs/architecture.md).
set -m  # a program in the background sees Ctrl-C
umask 022  # others may read a file that nobody protects, so the check at the end sees it
linux=$(readlink -f "$1") windows=$(readlink -f "$2")
# shellcheck source=tests/support/servers.sh
. "$(dirname "$0")/../support/servers.sh"
# shellcheck source=tests/support/wine.sh
. "$source/tests/support/wine.sh"

serve "$source/tests/windows/roads.json" "$linux"
dead=$(url dead) silent=$(url silent) unheard=$(url unheard) good=$(url good) tls=$(url tls)
late=$(url late) dns=$(url dns) pauses=$(url pauses) downgrade=$(url downgrade) expired=$(url expired)
conf=/lbs/conf.jsp
export http_proxy=http://127.0.0.1:1 https_proxy=http://127.0.0.1:1  # no client may use a proxy
unset no_proxy NO_PROXY

# on SYSTEM ARGUMENT...   runs the system's sturdyctl, for 60 s at most. Wine doesn't end at SIGTERM.
on() {
  if [ "$1" = linux ]; then
    timeout -s KILL 60 "$linux" "${@:2}"
  else
    timeout -s KILL 60 wine "$windows" "${@:2}" </dev/null
  fi
}

# begin SYSTEM ARGUMENT...   starts it in the background, with the output in watch.txt.
begin() {
  : >watch.txt
  if [ "$1" = linux ]; then
    "$linux" "${@:2}" >watch.txt 2>&1 &
  else
    wine "$windows" "${@:2}" >watch.txt 2>&1 </dev/null &
  fi
  client=$!
}

# await FOLDER TEXT   waits until the client's log has the text, for 15 s at most.
await() {
  local end=$((SECONDS + 15))
  until cat "$1"/sturdy_comp/*/sturdy_comp.log* 2>/dev/null | grep -aqF -- "$2"; do
    [ "$SECONDS" -lt "$end" ] || { cp watch.txt output; fail "$1: the log never had: $2"; }
    read -rt 0.05 <> <(:) || true
  done
}

# await_printed TEXT   waits until what was begun has printed the text, for 15 s at most.
await_printed() {
  local end=$((SECONDS + 15))
  until grep -aqF -- "$1" watch.txt; do
    [ "$SECONDS" -lt "$end" ] || { cp watch.txt output; fail "it never printed: $1"; }
    read -rt 0.05 <> <(:) || true
  done
}

# interrupt   presses Ctrl-C, and waits for the end of what was begun.
interrupt() {
  kill -INT "$client"
  wait "$client" || { cp watch.txt output; fail "it failed at Ctrl-C"; }
  client=
}

# finish FOLDER   ends the client.
finish() {
  interrupt
  grep -q exited watch.txt || { cp watch.txt output; fail "$1: the client didn't exit"; }
}

# One function for each scenario: drives the client of SYSTEM in the new data folder FOLDER, which
# knows an endpoint of HTTP DNS.
first_fetch_http() { on "$1" link --wait --token key --data "$2" --lbs "$good$conf"; }
first_fetch_https() { on "$1" link --wait --token key --data "$2" --lbs "$tls$conf"; }
# The first server redirects to http, which no transfer follows; the second has an old certificate.
downgrade() {
  on "$1" link --wait --token key --data "$2" --lbs "$downgrade$conf" --lbs "$expired$conf"
}
# The second URL is passed over, since no connection comes, and then the third, whose answer comes
# late and wins.
fail_over() {
  on "$1" link --wait --token key --data "$2" --lbs "$dead$conf" --lbs "$unheard$conf" \
    --lbs "$late$conf" --lbs "$dead$conf"
}
second_pass() { on "$1" link --wait --token key --data "$2" --lbs "http://localhost:${dead##*:}$conf"; }
report() {
  begin "$1" watch --token key --data "$2" --lbs "$dead$conf" --lbs "$good$conf"
  await "$2" '[lbs] Update LBS compare callback sdk'
  finish "$2"
  begin "$1" watch --token key --data "$2" --lbs "$dead$conf" --lbs "$good$conf"
  await "$2" '[statistic]Statistic ret:true'
  finish "$2"
}
# A killed process keeps its lines and its cache. The next one needs no server.
kill_and_start() {
  begin "$1" watch --token key --data "$2" --lbs "$good$conf"
  await "$2" '[lbs] Update LBS compare callback sdk'
  kill -KILL "$client"
  wait "$client" 2>/dev/null || true
  client=
  on "$1" log "$2" >output
  grep -q 'Update LBS success = true' output || fail "$2: a line is lost"
  on "$1" link --data "$2" --lbs "$good$conf"
}
query_host() { on "$1" query-host --data "$2" localhost; }
exit_in_flight() {
  begin "$1" watch --token key --data "$2" --lbs "$silent$conf"
  await "$2" '[multiple]Send sub url request'
  finish "$2"
}

# seed FOLDER   writes the cache of the endpoints of HTTP DNS, so that no client asks for them.
seed() {
  local folder
  folder=$1/sturdy_comp/$(printf im_g1 | md5sum | cut -d ' ' -f 1)/http_dns
  mkdir -p "$folder"
  printf '{"host": "localhost", "ipv4": "[{\\"host\\": \\"127.0.0.1\\", \\"port\\": %s, \\"https\\": false}]", "ipv6": "[]", "ttl": "3600000", "expired_time": "%s000"}' \
    "${dns##*:}" $(($(date +%s) + 86400)) >"$folder/http_server_cache.data"
}

# log_of FOLDER   prints the log, without what differs by nature.
log_of() {
  "$linux" log "$1" | sed -E \
    -e 's/data_path:.*/data_path:PATH/' \
    -e 's/ after [0-9]+ ms \(name .*\)$/ after N ms/' \
    -e 's/fetched:[0-9]+ ms ago/fetched:N ms ago/' \
    -e 's/"(send_time|timestamp)": [0-9]+/"\1": N/g' \
    -e 's/update after [0-9]+ms/update after N ms/' |
    awk '
      function put() {
        if (message == "") return
        sub(/[\r\n ]+$/, "", message)
        if (message ~ /^\[LV_APP\] \[transfer\]/) thread = "worker"
        if (!(thread in lines)) lines[thread] = ""
        if (thread == "worker") print "worker " message | "sort"
        else lines[thread] = lines[thread] "\n" message
      }
      /^[0-9][0-9]-[0-9][0-9] / {
        put(); thread = $3; sub(/^[^ ]+ [^ ]+ [^ ]+ /, ""); message = $0; next
      }
      # The frame of what an earlier process has left belongs to no thread.
      /--load from mmap file/ { put(); thread = "frame"; message = $0; next }
      { message = message "\n    " $0 }
      END {
        put(); close("sort")
        # Each thread is one line, so that sort puts equal threads next to each other.
        for (thread in lines) { gsub("\n", "\001", lines[thread]); print lines[thread] | "sort" }
      }' | tr '\001' '\n'
}

# caches_of FOLDER   prints the caches, without their times.
caches_of() {
  local file
  for file in lbs/lbs.data http_dns/http_server_cache.data http_dns/http_dns_cache.data; do
    printf '%s: ' "$file"
    sed -E 's/((fetched_at|cache_expired_time|expired_time)\\?": \\?"?)[0-9]+/\1N/g' \
      "$1"/sturdy_comp/*/"$file" 2>/dev/null || printf 'missing'
    echo
  done
}

failed=0
for scenario in first_fetch_http first_fetch_https downgrade fail_over second_pass report kill_and_start \
  query_host exit_in_flight; do
  for system in linux windows; do
    folder=$system/für/$scenario  # a letter that no code page has at the same place as UTF-8
    seed "$folder"
    "$scenario" "$system" "$folder" >"$folder/output" 2>&1 ||
      { cp "$folder/output" output; fail "$folder failed"; }
    sed '/^log: /d' "$folder/output" >"$folder/printed.txt"
    log_of "$folder" >"$folder/log.txt"
    caches_of "$folder" >"$folder/caches.txt"
  done
  for text in printed.txt log.txt caches.txt; do
    if ! diff -U 2 "linux/für/$scenario/$text" "windows/für/$scenario/$text" >output; then
      echo "$scenario: $text differs"
      cat output
      failed=1
    fi
  done
done

# took FOLDER CAUSE MS   fails unless the transfer that failed so took at least that long, and less than
# the limit of Windows for a connection, 21 s.
took() {
  local ms
  ms=$("$linux" log "$1" | sed -nE "s/.* failed: $2 after ([0-9]+) ms .*/\1/p")
  { [ "${ms:-0}" -ge "$3" ] && [ "$ms" -lt 20000 ]; } || fail "$1: $2 after $ms ms"
}

# The limits of a transfer. Not compared, since two timers end in the same moment.
for system in linux windows; do
  folder=$system/stalls
  seed "$folder"
  if on "$system" link --wait --token key --data "$folder" --lbs "$unheard$conf" --lbs "$silent$conf" \
    --lbs "$pauses$conf" >output 2>&1; then
    fail "$folder fetched"
  fi
  took "$folder" connect_timeout 7000
  took "$folder" head_timeout 2000
  took "$folder" read_timeout 2000
done

# The commands that read print and write the same for the same client, except the system's name, when
# they read, and the separators of paths. The folder of the bundle is there already, and others may
# read it.
for system in linux windows; do
  mkdir "$system/bundle"
  for command in why "why --all" stats state "timeline --output $system/page.html" \
    "bundle --output $system/bundle"; do
    # shellcheck disable=SC2086 # words
    on "$system" $command linux/für/report >>"$system/read.txt" 2>output || fail "$command failed"
  done
  sed -i '/^system /d' "$system/bundle/versions.txt"
  sed -i -E -e "s/^$system\/bundle/bundle/" -e 's/ read at .*/ read at T/' -e 's/\\+/\//g' \
    -e 's/([0-9]+ (d|h|min|s) ?)+(ago|left)/N \3/' "$system/read.txt" "$system/page.html" \
    "$system/bundle/state.txt" "$system/bundle/timeline.html"
done
for text in read.txt page.html bundle; do
  if ! diff -rU 2 "linux/$text" "windows/$text" >output; then
    echo "$text differs"
    cut -c 1-500 output
    failed=1
  fi
done

# Wine shows an access control list as a mode, where the group's part is the system's. What the shell
# has made is left out.
find windows \( -name 'sturdy_comp.log*' -o -path '*/lbs*' -o -path '*/bundle/*' \) -perm /007 >output
[ ! -s output ] || fail "others may read files of Windows"

# Windows serves, and prints a log that grows.
cat >only.json <<'END'
{"servers": [{"name": "only", "routes": [{"path": "/", "behaviours": [{"json": {"common": {
  "link": ["10.0.0.8:8008"], "link.default": ["10.0.0.3:8003"], "lbs": "${url:only}/"}}}]}]}]}
END
begin windows serve --scenario only.json
await_printed Ctrl-C
served=$(sed -nE 's/^only +([^ \r]+).*/\1/p' watch.txt)
on linux link --wait --token key --data served --lbs "$served/" >output 2>&1 ||
  fail "sturdyctl.exe doesn't serve"
interrupt
begin windows log --follow served
await_printed 'Update LBS success = true'
on linux link --data served --lbs http://127.0.0.1:1/later >/dev/null
await_printed /later
interrupt

if on windows demo >printed.txt 2>output; then
  fail "sturdyctl.exe plays the demo without TLS"
fi
grep -q "this build can't play the demo" output || fail "sturdyctl.exe doesn't say why there is no demo"
[ "$failed" -eq 0 ] || exit 1
echo "roads: done"
