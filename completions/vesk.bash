# Completion of vesk in bash. Commands and options are those that --help lists, so this file has no list of its own.

_vesk_help() { # the words of the command so far
  "${COMP_WORDS[0]}" "$@" --help 2>/dev/null
}

_vesk() {
  local current=${COMP_WORDS[COMP_CWORD]} word
  local command=()
  COMPREPLY=()
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case $word in
      -*) break ;;
      *)
        # A word that is no command is an argument: what follows belongs to the command before it.
        _vesk_help "${command[@]}" | sed -n '/^Subcommands:/,$p' | grep -q "^  $word " || break
        command+=("$word")
        ;;
    esac
  done
  local help
  help=$(_vesk_help "${command[@]}")
  case $current in
    -*) COMPREPLY=($(compgen -W "$(grep -oE -- '--[a-z][a-z-]*' <<< "$help" | sort -u)" -- "$current")) ;;
    *)
      # Subcommands where the command has some; otherwise files, which is what complete -o default gives.
      COMPREPLY=($(compgen -W "$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p' <<< "$help")" -- "$current"))
      ;;
  esac
}

complete -o default -F _vesk vesk
