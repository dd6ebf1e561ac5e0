#!/bin/sh
# Fails when a source file is not as clang-format 16 writes it; names the files and says how to format them.
# usage: formatted.sh SOURCE_DIR
set -eu
cd "$1"
command -v clang-format-16 >/dev/null || { echo "clang-format-16 is missing; script/setup installs it"; exit 1; }
count=$(find library tools tests examples bench fuzz \( -name '*.h' -o -name '*.cc' \) | wc -l)
if [ "$count" -lt 500 ]; then
  echo "only $count source files found below $1"
  exit 1
fi
problems=$(find library tools tests examples bench fuzz \( -name '*.h' -o -name '*.cc' \) -print0 |
  xargs -0 clang-format-16 --dry-run 2>&1 | grep -oE '^[^: ]+[.](h|cc)' | sort -u || true)
[ -n "$problems" ] || exit 0
echo "$problems" | sed 's/^/not formatted: /'
echo "format them: clang-format-16 -i FILE..."
exit 1
