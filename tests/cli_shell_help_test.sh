#!/usr/bin/env bash
# The tool's shell completions and manual page, as a shell and man see them, and its progress
# line on a terminal:
#   cli_shell_help_test.sh TOOL SHARE_DIR
# SHARE_DIR holds packwright.bash, _packwright and packwright.1 as the build made them.
set -euo pipefail
tool=$(realpath "$1")
share=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

# The installed files are what the tool prints now.
cmp -s <("$tool" completion bash) "$share/packwright.bash" || fail "packwright.bash is stale"
cmp -s <("$tool" completion zsh) "$share/_packwright" || fail "_packwright is stale"
cmp -s <("$tool" --man) "$share/packwright.1" || fail "packwright.1 is stale"

# bash: the script registers its function, which completes commands, options and their values.
complete_bash() {
  # The words of the command line, the last one being completed.
  (
    cd "$work"
    # shellcheck disable=SC1091
    source "$share/packwright.bash"
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    _packwright
    # In byte order: compgen lists files in the folder's order.
    [ ${#COMPREPLY[@]} -eq 0 ] || printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort | paste -sd ' ' -
  )
}
expect_bash() {
  local want=$1
  shift
  local got
  got=$(complete_bash "$@")
  [ "$got" = "$want" ] || fail "bash: completing '$*' gave '$got', not '$want'"
}
bash -c "source '$share/packwright.bash' && complete -p packwright" | grep -q -- '-F _packwright' ||
  fail "bash: the script does not register _packwright for packwright"
mkdir "$work/kept"
touch "$work/kept.json"
expect_bash "build" packwright bu
expect_bash "diff" packwright di
expect_bash "--help --help-all" packwright --help
expect_bash "--no-cache --no-checks" packwright build --no-
expect_bash "--keep-work" packwright build --kee
expect_bash "--quiet" packwright verify --qu
expect_bash "kept" packwright build --keep-work ke
expect_bash "kept kept.json" packwright build ke
expect_bash "" packwright build -j ''
expect_bash "verify" packwright help ver
expect_bash "zsh" packwright completion z

# zsh: the script is sound, and compinit picks it up from fpath for the packwright command.
if command -v zsh >/dev/null; then
  zsh -n "$share/_packwright" || fail "zsh: _packwright does not parse"
  HOME=$work zsh -f -c "fpath=('$share' \$fpath); autoload -Uz compinit; compinit -u -d '$work/zcompdump'
    [[ \$_comps[packwright] == _packwright ]] || exit 1
    autoload -Uz _packwright; (( \$+functions[_packwright] ))" ||
    fail "zsh: compinit does not find _packwright for packwright"
  # Typed into an interactive zsh on a terminal: a tab completes commands and options.
  complete_zsh() {
    rm -f "$work/buffer"
    PATH="$(dirname "$tool"):$PATH" timeout 30 zsh -f -c '
      zmodload zsh/zpty
      share=$1 work=$2
      zpty z "HOME=$work TERM=dumb zsh -f -i"
      zpty -w z "fpath=($share \$fpath); autoload -Uz compinit; compinit -u -d $work/zcompdump"
      # A key that writes the command line to a file, once completion has done its work.
      zpty -w z "dump() { print -r -- \"\$BUFFER\" >$work/buffer }; zle -N dump; bindkey ^X dump"
      zpty -w z "PS1=READY\\>\\ "
      zpty -r z out "*READY> "
      zpty -w -n z "$3"$'"'"'\t'"'"'
      sleep 1
      zpty -w -n z $'"'"'\x18'"'"'
      for i in {1..100}; do [[ -s $work/buffer ]] && break; sleep 0.1; done
      zpty -d z' zsh "$share" "$work" "$1" >/dev/null 2>&1 || true
    cat "$work/buffer" 2>/dev/null
  }
  for case in "packwright bu|packwright build " "packwright build --no-ch|packwright build --no-checks " \
    "packwright verify --con|packwright verify --content " "packwright help fin|packwright help finalize "; do
    typed=${case%%|*} expected=${case#*|}
    got=$(complete_zsh "$typed")
    [ "$got" = "$expected" ] || fail "zsh: completing '$typed' gave '$got', not '$expected'"
  done
else
  echo "SKIP: zsh is not installed (scripts/setup.sh installs it)"
fi

# The manual page renders without a warning, and holds every command and option.
if command -v groff >/dev/null; then
  warnings=$(groff -ww -z -man "$share/packwright.1" 2>&1) || fail "groff fails on packwright.1"
  [ -z "$warnings" ] || fail "groff warns about packwright.1: $warnings"
else
  echo "SKIP: groff is not installed"
fi
if command -v man >/dev/null; then
  page=$(MANPAGER=cat MANWIDTH=100 man -l "$share/packwright.1" 2>"$work/man.err") ||
    fail "man -l packwright.1 fails: $(cat "$work/man.err")"
  for word in NAME SYNOPSIS COMMANDS "EXIT STATUS" "packwright build" "--keep-work DIR" \
    "--no-checks" "--quiet" "packwright completion"; do
    grep -qF -- "$word" <<<"$page" || fail "the manual page lacks '$word'"
  done
else
  echo "SKIP: man is not installed (scripts/setup.sh installs man-db)"
fi

# The progress line on a terminal: what is built, then the bytes packed; none when quiet.
if command -v script >/dev/null; then
  printf 'LUT_3D_SIZE 2\n' >"$work/look.cube"
  for _ in 1 2 3 4 5 6 7 8; do printf '0 0 0\n' >>"$work/look.cube"; done
  echo '{"name": "One", "components": [{"kind": "lut-effect", "lut": "look.cube"}]}' \
    >"$work/one.json"
  shown=$(script -qec "'$tool' build '$work/one.json' -o '$work/one.qpack'" /dev/null)
  for part in "building One (1 component)" "packing One: " " of " "built $work/one.qpack"; do
    grep -qF -- "$part" <<<"$shown" || fail "the terminal did not show '$part': $shown"
  done
  shown=$(script -qec "'$tool' build -q '$work/one.json' -o '$work/quiet.qpack'" /dev/null)
  [ -z "$shown" ] || fail "a quiet build showed: $shown"
  [ -s "$work/quiet.qpack" ] || fail "the quiet build made no package"
else
  echo "SKIP: script is not installed, so no terminal to show progress on"
fi

[ "$failures" -eq 0 ] || exit 1
echo "bash and zsh completions and the manual page: fine"
