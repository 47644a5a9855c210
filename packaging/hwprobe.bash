# Completion of hwprobe for bash. Commands, options and exports come from the tool itself.
_hwprobe() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} tool=${COMP_WORDS[0]} words=
  case $before in
    --machine | --identify | --smart | --textfile | --statistics | --thresholds)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return
      ;;
  esac
  if ((COMP_CWORD == 1)); then
    words=$("$tool" --help 2>/dev/null | sed -n '/ommands:$/,/^[^ ]*$/s/^  \([a-z][a-z-]*\) .*/\1/p')
    words+=" --help --version"
  elif [[ $word == -* ]]; then
    words=$("$tool" "${COMP_WORDS[1]}" --help 2>/dev/null | grep -oE -- '--[a-z][a-z-]*')
  elif [[ ${COMP_WORDS[1]} == call ]]; then
    # A name that it does not know makes it list those that it knows.
    words=$("$tool" call '?' 2>&1 | sed -n 's/^  \([A-Za-z0-9]*\).*/\1/p')
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -F _hwprobe hwprobe
