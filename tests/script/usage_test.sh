#!/bin/sh
# usage: usage_test.sh CASE COMMAND
# Runs a command of script/ in an empty folder, among stand-ins for the programs that set up, build and test, and
# expects that it answers at once: nothing is called, and nothing is left in the folder.
set -eu
case_name=$1
command=$2
name=script/$(basename "$command")

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/programs" "$folder/empty"
export CALLS="$folder/calls"
: >"$CALLS"
for program in cmake ctest ninja apt-get dpkg-query sudo; do
  printf '#!/bin/sh\necho "%s $*" >>"$CALLS"\nexit 1\n' "$program" >"$folder/programs/$program"
  chmod +x "$folder/programs/$program"
done
cd "$folder/empty"

# ask ARGUMENTS...: runs the command; what it prints is in $out and $err, how it ends in $status.
ask() {
  status=0
  PATH="$folder/programs:$PATH" "$command" "$@" >"$folder/out" 2>"$folder/err" </dev/null || status=$?
  out=$(cat "$folder/out") err=$(cat "$folder/err")
}

fail() {
  printf '%s %s\nstatus %s, printed:\n%s\nand as errors:\n%s\n' "$name" "$1" "$status" "$out" "$err"
  exit 1
}

expect_nothing_done() {
  [ ! -s "$CALLS" ] || fail "$1 calls $(cat "$CALLS")"
  [ -z "$(ls -A "$folder/empty")" ] || fail "$1 leaves $(ls -A "$folder/empty")"
}

case $case_name in
  says_how_it_is_called)
    for option in --help -h; do
      ask "$option"
      [ "$status" -eq 0 ] || fail "$option"
      [ -z "$err" ] || fail "$option complains"
      case $out in *"usage: $name"*) ;; *) fail "$option does not say how it is called" ;; esac
      case $out in *"set -eu"*) fail "$option prints its code" ;; esac
      expect_nothing_done "$option"
    done
    ;;
  refuses_what_it_does_not_know)
    for arguments in --no-such-option "--no-such-option 1" "1 2 3 4"; do
      # $arguments are words.
      # shellcheck disable=SC2086
      ask $arguments
      [ "$status" -eq 2 ] || fail "$arguments"
      [ -z "$out" ] || fail "$arguments prints where data belong"
      case $err in *script/*) ;; *) fail "$arguments is refused without a word" ;; esac
      expect_nothing_done "$arguments"
    done
    ;;
  *)
    echo "usage_test.sh: no case $case_name"
    exit 2
    ;;
esac
