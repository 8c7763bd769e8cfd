# bash completion for sbxml(1)

_sbxml() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
  local set='--descriptions --rules --project --no-project' manners='--color --max-errors --help'
  local words=''
  COMPREPLY=()
  if [ "$COMP_CWORD" -eq 1 ]; then
    mapfile -t COMPREPLY < <(compgen -W 'check inspect convert describe lint --help --version' -- "$current")
    return
  fi
  case $previous in
    --color) words='auto always never' ;;
    -e | --encoding) words='utf-16 utf-16be utf-8 ansi' ;;
    --level) words='error warning note' ;;
    --root | --max-errors) return ;;
  esac
  if [ -z "$words" ] && [[ $current == -* ]]; then
    case $command in
      check) words="$set --root --json $manners" ;;
      inspect) words="$set --root --json --blocks --hex $manners" ;;
      convert) words="--output --encoding --pretty $manners" ;;
      describe) words="$set --json $manners" ;;
      lint) words="$set --root --level --json $manners" ;;
    esac
  fi
  if [ -n "$words" ]; then
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}
complete -F _sbxml sbxml
