#!/bin/sh
# usage: needs_nothing_of.sh LIBRARY OTHER
# LIBRARY leaves nothing open that OTHER has: neither is OTHER linked, nor would it have to be.
set -eu
names=$(mktemp)
trap 'rm -f "$names"' EXIT
nm -D -P --defined-only "$2" | sed 's/[ @].*//' | grep -Ev '^_Z(T[VTIS]|GV)?Z?(N[rVK]*)?(S[abdiost]|9__gnu_cxx)' | sort -u >"$names"
[ -s "$names" ] || { echo "$2 exports nothing" && exit 1; }
open=$(nm -D -P --undefined-only "$1" | sed 's/[ @].*//' | sort -u | comm -12 - "$names" | c++filt)
[ -z "$open" ] || { echo "$1 needs of $2:" && echo "$open" && exit 1; }
if readelf -W -d "$1" | grep NEEDED | grep -q "$(basename "$2" | sed 's/[.]so.*//')"; then
  echo "$1 links $2" && exit 1
fi
