#!/bin/bash
# Completes command lines in this bash, in zsh and in fish, and compares with what ksexpr --help says;
# has the man page looked at by mandoc. Exits with 77, which ctest takes for skipped, where the program
# to try is not installed.
#   completion.sh bash|zsh|fish|man KSEXPR SCRATCH_DIR
set -euo pipefail
what=$1 ksexpr=$2 scratch=$3/$1
mkdir -p "$scratch"
cd "$scratch"
touch 'a model.json' assumptions.txt
failures=0
expect() { # EXPECTED ACTUAL WHAT
  [[ $1 == "$2" ]] && return
  printf '%s\n  expected: %s\n  but is:   %s\n' "$3" "${1//$'\n'/ }" "${2//$'\n'/ }"
  failures=$((failures + 1))
}
program=$what
[[ $what != man ]] || program=mandoc
command -v "$program" > /dev/null || { echo "skipped: no $program"; exit 77; }

# What the help tells: "-h" and "--from", one a line; the commands; "--from m|c".
options_of() { "$ksexpr" "$@" --help | grep -oE '^  (-[A-Za-z]|--[a-z-]+)(,--[a-z-]+)*' | tr -d ' ' | tr , '\n'; }
commands_of() { "$ksexpr" --help | sed -n '/^Subcommands:/,$ s/^  \([a-z][a-z-]*\) .*/\1/p'; }
words_of() { "$ksexpr" "$@" --help | grep -oE '^  --[a-z-]+ [a-z]+([|,][a-z]+)+' | tr -d '\r'; }

complete_bash() { # WORDS..., the last one is being typed
  COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
  _ksexpr
  printf '%s\n' "${COMPREPLY[@]}"
}
try_bash() { # the completions in order, as one line, then WORDS
  local expected=$1
  shift
  expect "$expected" "$(complete_bash "$@" | LC_ALL=C sort | paste -sd ' ')" "$*"
}

case $what in
  bash)
    "$ksexpr" --generate bash > file
    # shellcheck disable=SC1091
    source ./file
    expect 'complete -F _ksexpr ksexpr' "$(complete -p ksexpr)" 'complete -p'
    expect "$(commands_of)" "$(complete_bash ksexpr '')" 'all commands'
    expect "$(options_of)" "$(complete_bash ksexpr -)" 'options without a command'
    for command in $(commands_of); do
      expect "$(options_of "$command")" "$(complete_bash ksexpr "$command" -)" "options of $command"
      while read -r option words; do
        expect "$(tr '|,' '\n\n' <<< "$words")" \
               "$(complete_bash ksexpr "$command" "$option" '')" "$command $option"
      done < <(words_of "$command")
    done
    try_bash 'simplify split symbols' ksexpr s
    try_bash 'csv' ksexpr conditions --format c
    try_bash 'csv' ksexpr conditions --format = c
    try_bash 'csv json jsonl table' ksexpr conditions --format =
    try_bash 'vv,s' ksexpr conditions --family vv,s
    try_bash 'vv,cg,s' ksexpr conditions --family vv,cg,s
    try_bash 'vv,cg vv,s vv,vv' ksexpr conditions --family vv,
    try_bash 'a model.json' ksexpr conditions 'a m'
    try_bash 'a model.json assumptions.txt' ksexpr vars --form c a
    try_bash 'assumptions.txt' ksexpr active --values as
    try_bash '' ksexpr active --assume as
    try_bash '' ksexpr print as
    try_bash '--format --from' ksexpr print 'a + b' --f
    # As bash itself has it done, when somebody presses the key.
    printf 'PS1=\nksexpr conv\t--fr\t c --t\t pp 1\nexit\n' > keys
    mkdir -p bin
    printf '#!/bin/sh\necho "ran: $*"\n' > bin/ksexpr
    chmod +x bin/ksexpr
    expect 'ran: convert --from c --to pp 1' \
           "$(TERM=dumb INPUTRC=/dev/null PATH=$PWD/bin:$PATH bash --rcfile file --noprofile -i < keys 2> errors |
                grep '^ran: ' || cat errors)" 'keys'
    ;;
  zsh)
    "$ksexpr" --generate zsh > _ksexpr
    zsh -f -n _ksexpr
    # As zsh has it done in a terminal, when somebody presses the key.
    cat > keys << 'END'
zmodload zsh/zpty
zpty shell TERM=dumb zsh -f -i
zpty -w shell 'fpath=($PWD $fpath); autoload -Uz compinit; compinit -u -D'
zpty -w shell 'ksexpr() { print -r -- "ran:" "$@" }'
zpty -w shell $'ksexpr conv\t--fr\t c --t\t pp 1'
zpty -w shell $'ksexpr cond\t--fam\tvv,c\t a\\ \t'
zpty -w shell $'ksexpr simplify --max-passes as\t'
zpty -w shell exit
while zpty -r shell line; do print -r -- "$line"; done
END
    expect $'ran: convert --from c --to pp 1\nran: conditions --family=vv,cg a model.json\nran: simplify --max-passes as' \
           "$(timeout 60 zsh -f keys 2>&1 | tr -d '\r' | grep '^ran: ')" 'keys'
    ;;
  fish)
    "$ksexpr" --generate fish > file
    fish -n file
    complete_fish() { fish -N -c 'source file; complete -C $argv' "$1" | cut -f 1; }
    expect "$(commands_of | sort)" "$(complete_fish 'ksexpr ' | sort)" 'all commands'
    for command in $(commands_of); do
      expect "$(options_of "$command" | sort)" "$(complete_fish "ksexpr $command -" | sort)" \
             "options of $command"
    done
    expect $'json\njsonl' "$(complete_fish 'ksexpr conditions --format j')" 'a value'
    expect $'vv,cg' "$(complete_fish 'ksexpr conditions --family vv,c')" 'a second value'
    expect 'assumptions.txt' "$(complete_fish 'ksexpr conditions as')" 'a file'
    expect '' "$(complete_fish 'ksexpr print as')" 'no file'
    ;;
  man)
    "$ksexpr" --generate man > ksexpr.1
    mandoc -Tlint -Wwarning ksexpr.1
    text=$(mandoc -Tutf8 ksexpr.1 | sed 's/.\x08//g')
    for command in $(commands_of); do
      section=$(sed -n "/^   $command\$/,/^   [a-z-]*\$/p" <<< "$text"$'\n   end')
      for option in $(options_of "$command"); do
        [[ $option == -h || $option == --help || $section == *"$option"* ]] ||
          expect "$option" nothing "man page of $command"
      done
    done
    ;;
esac
exit $((failures > 0))
