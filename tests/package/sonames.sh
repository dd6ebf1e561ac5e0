#!/bin/sh
# usage: sonames.sh PREFIX
# Each shared library that is installed in PREFIX is named by what programs stay compatible with: before 1.0 the major
# and minor version that its header states, from then on the major version.
set -eu
header=$(find "$1" -name ravo_version.h)
number() { sed -n "s/^#define RAVO_VERSION_$1 \([0-9]*\)$/\1/p" "$header"; }
major=$(number MAJOR)
compatible=$major
[ "$major" -gt 0 ] || compatible=$major.$(number MINOR)
grep -qx "#define RAVO_VERSION \"$major.$(number MINOR).$(number PATCH)\"" "$header" ||
  { echo "$header contradicts itself" && exit 1; }

seen=0
for library in $(find "$1" -type f -name 'lib*.so*'); do
  name=$(readelf -W -d "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
  case $name in
    lib*.so."$compatible") seen=$((seen + 1)) ;;
    *) echo "$library is named $name, which does not end in .so.$compatible" && exit 1 ;;
  esac
done
[ "$seen" -eq 5 ] || { echo "$seen shared libraries in $1, and 5 are expected" && exit 1; }
