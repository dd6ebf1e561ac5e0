#!/bin/sh
# usage: setup_test.sh CASE SETUP
# Runs script/setup among stand-ins for the programs that it calls, so that nothing is installed, and
# compares what it printed and what it called with what is expected of the case.
set -eu
case_name=$1
setup=$2

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
ln -s "$(command -v env)" "$folder/env"

# stand_in NAME SCRIPT: a program that does SCRIPT.
stand_in() {
  printf '#!/bin/sh\n%s\n' "$2" >"$folder/$1"
  chmod +x "$folder/$1"
}

stand_in dpkg-query 'case " $MISSING " in *" $4 "*) exit 1 ;; *) printf installed ;; esac'
stand_in id 'echo "$USER_ID"'
stand_in apt-get 'echo "apt-get $* (frontend ${DEBIAN_FRONTEND:-any})" >>"$CALLS"'

export CALLS="$folder/calls" MISSING="" USER_ID=0
: >"$CALLS"

# expect STATUS OUTPUT CALLS: runs setup and compares.
expect() {
  status=0
  output=$(PATH="$folder" "$setup" 2>&1) || status=$?
  if [ "$status" != "$1" ] || [ "$output" != "$2" ] || [ "$(cat "$CALLS")" != "$3" ]; then
    printf 'status %s, printed:\n%s\ncalled:\n%s\n' "$status" "$output" "$(cat "$CALLS")"
    exit 1
  fi
}

install='install -y -qq --no-install-recommends'
case $case_name in
  says_nothing_when_nothing_is_missing)
    expect 0 "" ""
    ;;
  installs_only_what_is_missing)
    MISSING="liblzo2-dev ninja-build"
    expect 0 "script/setup: installing ninja-build liblzo2-dev" \
      "apt-get update -qq (frontend noninteractive)
apt-get $install ninja-build liblzo2-dev (frontend noninteractive)"
    ;;
  uses_sudo_when_not_root)
    MISSING=ccache USER_ID=1000
    # As the real one, it passes nothing of the environment on.
    stand_in sudo 'echo "sudo" >>"$CALLS"; exec env -i PATH="$PATH" CALLS="$CALLS" "$@"'
    expect 0 "script/setup: installing ccache" \
      "sudo
apt-get update -qq (frontend any)
sudo
apt-get $install ccache (frontend noninteractive)"
    ;;
  refuses_without_root_and_sudo)
    MISSING="g++ cmake" USER_ID=1000
    expect 1 "script/setup: these packages are missing and installing them needs root or sudo: g++ cmake" ""
    ;;
  *)
    echo "setup_test.sh: no case $case_name"
    exit 2
    ;;
esac
