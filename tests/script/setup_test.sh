#!/bin/sh
# usage: setup_test.sh CASE SETUP
# Runs script/setup in a checkout of its own, among stand-ins for the programs that it calls, so that nothing is
# installed, and compares what it printed and what it called with what is expected of the case. The checkout has locks
# for the Pythons 3.11 and 3.12, of which the machine has 3.11 alone.
set -eu
case_name=$1
setup=$2

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
checkout=$folder/checkout
mkdir -p "$folder/programs" "$checkout/script" "$checkout/python/locks"
for program in env sh cat cp rm mkdir grep chmod; do
  ln -s "$(command -v $program)" "$folder/programs/$program"
done
# The stand-ins are the only Pythons.
sed "s|/usr/bin/python|$folder/programs/python|" "$setup" >"$checkout/script/setup"
chmod +x "$checkout/script/setup"
echo "uv==1 --hash=sha256:1" >"$checkout/python/locks/3.11.txt"
echo "numpy==2" >"$checkout/python/locks/3.12.txt"

# stand_in NAME SCRIPT: a program that does SCRIPT.
stand_in() {
  printf '#!/bin/sh\n%s\n' "$2" >"$folder/programs/$1"
  chmod +x "$folder/programs/$1"
}

# python_stand_in VERSION: a Python that makes environments, whose pip brings uv. FAILING names programs that fail.
python_stand_in() {
  stand_in "python$1" '[ "$1" != -c ] || exit 0
echo "venv $3" >>"$CALLS"
mkdir -p "$3/bin"
cat >"$3/bin/python" <<"END"
#!/bin/sh
for last; do :; done
echo "pip $last" >>"$CALLS"
case " $FAILING " in *" pip "*) exit 1 ;; esac
case $last in */uv.txt) ;; *) exit 0 ;; esac
cat >"${0%python}uv" <<"END_OF_UV"
#!/bin/sh
for last; do :; done
echo "uv $last" >>"$CALLS"
case " $FAILING " in *" uv "*) exit 1 ;; esac
END_OF_UV
chmod +x "${0%python}uv"
END
chmod +x "$3/bin/python"'
}

stand_in dpkg-query 'case " $MISSING " in *" $4 "*) exit 1 ;; *) printf installed ;; esac'
stand_in id 'echo "$USER_ID"'
stand_in apt-get 'echo "apt-get $* (frontend ${DEBIAN_FRONTEND:-any})" >>"$CALLS"'
python_stand_in 3.11

export CALLS="$folder/calls" MISSING="" USER_ID=0 FAILING="" HOME="$folder/home"
unset PYENV_ROOT
: >"$CALLS"

# expect STATUS OUTPUT CALLS: runs setup and compares.
expect() {
  status=0
  output=$(PATH="$folder/programs" "$checkout/script/setup" 2>&1) || status=$?
  if [ "$status" != "$1" ] || [ "$output" != "$2" ] || [ "$(cat "$CALLS")" != "$3" ]; then
    printf 'status %s, printed:\n%s\ncalled:\n%s\n' "$status" "$output" "$(cat "$CALLS")"
    exit 1
  fi
}

# All Python environments are there; what was called for that is forgotten.
with_environments() {
  PATH="$folder/programs" "$checkout/script/setup" >/dev/null
  : >"$CALLS"
}

install='install -y -qq --no-install-recommends'
making='script/setup: making build/python-3.11, with the packages of python/locks/3.11.txt'
case $case_name in
  says_nothing_when_nothing_is_missing)
    with_environments
    expect 0 "" ""
    ;;
  installs_only_what_is_missing)
    with_environments
    MISSING="liblzo2-dev ninja-build"
    expect 0 "script/setup: installing ninja-build liblzo2-dev" \
      "apt-get update -qq (frontend noninteractive)
apt-get $install ninja-build liblzo2-dev (frontend noninteractive)"
    ;;
  uses_sudo_when_not_root)
    with_environments
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
  makes_an_environment_for_each_python)
    expect 0 "$making" "venv build/python-3.11
pip build/uv.txt
uv python/locks/3.11.txt"
    python_stand_in 3.12
    : >"$CALLS"
    expect 0 "script/setup: making build/python-3.12, with the packages of python/locks/3.12.txt" \
      "venv build/python-3.12
uv python/locks/3.12.txt"
    ;;
  makes_an_environment_anew_when_its_lock_changes)
    with_environments
    echo "numpy==3" >>"$checkout/python/locks/3.11.txt"
    expect 0 "$making" "venv build/python-3.11
pip build/uv.txt
uv python/locks/3.11.txt"
    ;;
  installs_with_pip_where_uv_fails)
    FAILING=uv
    expect 0 "$making" "venv build/python-3.11
pip build/uv.txt
uv python/locks/3.11.txt
pip python/locks/3.11.txt"
    ;;
  says_which_packages_cannot_be_installed)
    FAILING="pip uv"
    failed="$making
script/setup: the packages of python/locks/3.11.txt could not be installed; where the package index is out of reach,"
    failed="$failed try again later, and where it lacks one of them, script/lock writes the locks anew"
    expect 1 "$failed" "venv build/python-3.11
pip build/uv.txt
pip python/locks/3.11.txt"
    # What is half made is not taken for an environment.
    FAILING="" && : >"$CALLS"
    expect 0 "$making" "venv build/python-3.11
pip build/uv.txt
uv python/locks/3.11.txt"
    ;;
  refuses_without_debians_python)
    rm "$folder/programs/python3.11"
    expect 1 "script/setup: there is no Python 3.11, which is Debian 12's own: the package python3-venv brings it" ""
    ;;
  *)
    echo "setup_test.sh: no case $case_name"
    exit 2
    ;;
esac
