# bash completion for sbxlog(1)

# Executables, processes or modules out of `sbxlog ps`.
_sbxlog_column() {
  sbxlog ps --color never 2>/dev/null | awk -v column="$1" 'NR > 1 && $column != "*" { print $column }' | sort -u
}

_sbxlog() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
  local manners='--json --color --help' filter='--level --pid --text' words='' at=2
  COMPREPLY=()
  if [ "$COMP_CWORD" -eq 1 ]; then
    mapfile -t COMPREPLY < <(compgen -W 'ps tail level path break cat --help --version' -- "$current")
    return
  fi
  if [ "$command" = break ]; then
    if [ "$COMP_CWORD" -eq 2 ]; then
      mapfile -t COMPREPLY < <(compgen -W 'add list hits release remove --help' -- "$current")
      return
    fi
    command="break ${COMP_WORDS[2]}"
    at=3
  fi
  case $previous in
    --color) words='auto always never' ;;
    --pid) words=$(_sbxlog_column 1) ;;
    --process) words=$(_sbxlog_column 2) ;;
    --level | --text | --until | --timeout | --from | --to | --tid | --hold) return ;;
  esac
  if [ -z "$words" ] && [[ $current == -* ]]; then
    case $command in
      ps | 'break list' | 'break hits') words=$manners ;;
      tail) words="$filter --until --timeout $manners" ;;
      level | path) words="--clear $manners" ;;
      cat) words="$filter --from --to --alone $manners" ;;
      'break add') words="--process --text --pid --tid --hold --timeout $manners" ;;
      'break release' | 'break remove') words="--all $manners" ;;
    esac
  elif [ -z "$words" ]; then
    case $command in
      tail) words=$(_sbxlog_column 2) ;;
      level | path)
        [ "$COMP_CWORD" -ne "$at" ] || words=$(_sbxlog_column 1)
        [ "$COMP_CWORD" -ne $((at + 1)) ] || words=$(_sbxlog_column 3)
        ;;
      'break release') words=$(sbxlog break hits 2>/dev/null | awk 'NR > 1 { print $1 }') ;;
      'break remove') words=$(sbxlog break list 2>/dev/null | awk 'NR > 1 { print $1 }') ;;
    esac
  fi
  if [ -n "$words" ]; then
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
  elif [ "$command" = cat ] || [ "$command" = path ]; then
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}
complete -F _sbxlog sbxlog
