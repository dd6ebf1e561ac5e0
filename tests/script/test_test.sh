#!/bin/sh
# usage: test_test.sh TEST
# Runs script/test in a checkout of its own, among stand-ins for the programs that build and test, and counts how
# often tests are run.
set -eu
script=$1

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir -p "$folder/programs" "$folder/checkout/script"

# stand_in FILE SCRIPT: a program that does SCRIPT.
stand_in() {
  printf '#!/bin/sh\n%s\n' "$2" >"$1"
  chmod +x "$1"
}

export RUNS="$folder/runs" FAILS="$folder/fails" LINT_FAILS="$folder/lint_fails"
stand_in "$folder/programs/cmake" 'mkdir -p build/release build/asan'
stand_in "$folder/programs/ctest" 'echo "$*" >>"$RUNS"
for word; do
  if [ "$last" = --output-log ]; then printf "many tests\n100%% tests passed\n\nTotal Test time\n" >"$word"; fi
  last=$word
done
[ ! -e "$FAILS" ] || exit 8'
sed -i '2i last=""' "$folder/programs/ctest"

# expect WHAT RUNS STATUS ARGUMENTS...: script/test with the arguments has run ctest so many times.
expect() {
  what=$1 runs=$2 wanted=$3
  shift 3
  : >"$RUNS"
  status=0
  output=$(PATH="$folder/programs:$PATH" script/test "$@" 2>&1) || status=$?
  if [ "$(wc -l <"$RUNS")" -eq "$runs" ] && [ "$status" -eq "$wanted" ]; then return; fi
  printf '%s: status %s, printed:\n%s\ncalled:\n%s\n' "$what" "$status" "$output" "$(cat "$RUNS")"
  exit 1
}

cd "$folder/checkout"
cp "$script" script/test
stand_in script/setup :
stand_in script/lint '[ ! -e "$LINT_FAILS" ]'
echo build >.gitignore
if ! command -v git >/dev/null; then
  expect "without git" 1 0
  expect "without git nobody knows" 1 0
  exit 0
fi
git init -q
git add .
git -c user.name=test -c user.email=test@example.org commit -qm first

expect "first" 1 0
expect "nothing has changed" 0 0
case $output in
  *"release: nothing has changed since these tests passed"*"100% tests passed"*"Total Test time"*) ;;
  *) printf 'printed:\n%s\n' "$output" && exit 1 ;;
esac
expect "asked for again" 1 0 --again
expect "another preset" 1 0 asan
expect "all of it, of which half is left out" 1 0 asan --again
echo more >new
expect "a new file" 1 0
expect "the new file has not changed" 0 0
echo else >new
expect "it has" 1 0
echo "# a comment" >>script/test
expect "a changed file" 1 0
export RAVO_DATASET_SETS=4
expect "other tests by the environment" 1 0
unset RAVO_DATASET_SETS
touch "$FAILS"
expect "a failure" 1 8
expect "a failure is not kept" 1 8
rm "$FAILS"
touch "$LINT_FAILS"
expect "a source that is not clean, which only all asks for" 1 0 --again release
expect "a source that is not clean" 0 1 --again all
rm "$LINT_FAILS"
expect "mended" 1 0
rm -rf .git
expect "without git" 1 0
expect "without git nobody knows" 1 0
