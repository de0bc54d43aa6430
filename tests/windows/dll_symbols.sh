#!/bin/bash
# dll_symbols.sh OBJDUMP DLL   checks that the DLL exports the three functions of sturdy.h alone, and
# imports from libraries of Windows alone.
set -euo pipefail
table=$("$1" -p "$2")
exports=$(sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/p' <<<"$table" | awk '/^\t/ { print $NF }' | sort)
expected="_ZN9zo_sturdy15GetSturdyObjectEi
_ZN9zo_sturdy21ExitSturdyEnvironmentEi
_ZN9zo_sturdy22StartSturdyEnvironmentERKNS_28_ZOSturdyEnvironmentSettingsE"
[ "$exports" = "$expected" ] || { printf 'it exports:\n%s\n' "$exports"; exit 1; }
imports=$(sed -n 's/.*DLL Name: //p' <<<"$table" | sort)
[ -n "$imports" ] || { echo "no import is found"; exit 1; }
others=$(grep -viE '^(advapi32|bcrypt|kernel32|msvcrt|winhttp|ws2_32)\.dll$' <<<"$imports" || true)
[ -z "$others" ] || { printf 'it imports:\n%s\n' "$others"; exit 1; }
