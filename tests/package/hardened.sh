#!/bin/sh
# usage: hardened.sh PREFIX FORTIFIED
# Checks every ELF file that is installed in PREFIX: is it built as programs are that read untrusted files?
# FORTIFIED is yes where the build optimises; without that the C library's checked functions are not used.
set -eu
prefix=$1
fortified=$2
faults=0

fault() {
  echo "$file: $1"
  faults=$((faults + 1))
}

is_elf() { [ "$(head -c 4 "$1" | tail -c 3)" = ELF ]; }

# The exported functions of the file that do not begin with the instruction that indirect calls must lead to.
without_landing() {
  readelf -W --dyn-syms "$file" |
    awk '$4 == "FUNC" && $5 != "LOCAL" && $7 != "UND" { sub(/@.*/, "", $8); print $8 }' >"$names"
  objdump -d --no-show-raw-insn "$file" | awk -v names="$names" '
    BEGIN { while ((getline name < names) > 0) exported[name] = 1 }
    /^[0-9a-f]+ <.*>:$/ { name = substr($2, 2, length($2) - 3); getline; if (name in exported && !/endbr64/) print name }
  '
}

check() {
  dynamic=$(readelf -W -d "$file")
  segments=$(readelf -W -l "$file")
  wanted=$(readelf -W --dyn-syms "$file" | awk '$7 == "UND" { sub(/@.*/, "", $8); print $8 }')

  echo "$segments" | grep -q GNU_RELRO || fault "its tables of addresses stay writable (no GNU_RELRO)"
  echo "$dynamic" | grep -Eq 'BIND_NOW|Flags:.* NOW' || fault "its functions are bound while it runs (no BIND_NOW)"
  echo "$segments" | grep GNU_STACK | grep -q 'RW ' || fault "its stack can be executed"
  echo "$segments" | grep -E ' LOAD ' | grep -q RWE && fault "a segment is writable and executable"
  echo "$dynamic" | grep -q TEXTREL && fault "its code is changed when it is loaded (TEXTREL)"
  echo "$wanted" | grep -qx __stack_chk_fail || fault "its stack is not guarded (no __stack_chk_fail)"
  if readelf -W -h "$file" | grep -q 'Type: *EXEC'; then
    fault "it is loaded at a fixed address (no PIE)"
  fi
  if [ "$fortified" = yes ]; then
    # Compilers leave the check out where they see that the buffer is large enough, but not everywhere.
    unchecked=$(echo "$wanted" | grep -Ex 'v?(f|s|sn|d|as)?printf|strcpy|strcat' || true)
    if [ -n "$unchecked" ] && ! echo "$wanted" | grep -Eqx '__[a-z]+_chk'; then
      fault "it calls $(echo $unchecked) and never checks (no _FORTIFY_SOURCE)"
    fi
  fi
  if [ "$(uname -m)" = x86_64 ]; then
    open=$(without_landing)
    [ -z "$open" ] || fault "$(echo "$open" | wc -l) functions have no landing instruction (no -fcf-protection), as $(echo "$open" | head -1)"
  fi
}

names=$(mktemp)
trap 'rm -f "$names"' EXIT
seen=0
for file in $(find "$prefix" -type f); do
  is_elf "$file" || continue
  seen=$((seen + 1))
  check
done
# Five shared libraries and the tool; of static libraries, which are no ELF files themselves, the tool.
[ "$seen" -ge 1 ] || { echo "no ELF file in $prefix" && exit 1; }
echo "$seen files checked, $faults faults found"
[ "$faults" -eq 0 ]
