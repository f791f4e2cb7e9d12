# bash completion for prowl
_prowl() {
  local current=${COMP_WORDS[COMP_CWORD]} i
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; i++)); do
    if [[ ${COMP_WORDS[i]} == -- ]]; then
      compopt -o nospace
      mapfile -t COMPREPLY < <(compgen -W '-help -crashAfter= -throwAfter= -app= -stdout= -stderr= -comment= -exit=
        -verbose= -timeout= -hang=' -- "$current")
      return
    fi
  done
  case ${COMP_WORDS[COMP_CWORD - 1]} in
    --from | --html | --prometheus | --nfd | diff) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    --prober) mapfile -t COMPREPLY < <(compgen -c -- "$current") ;;
    --timeout | --question-timeout | --feature | --require | --noise) ;;
    check) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    *)
      mapfile -t COMPREPLY < <(compgen -W 'ask look check diff memory forget --from --prober --timeout --question-timeout --no-measure
        --no-isolate --remember --fresh --all --json --markdown --html --events --raw
        --prometheus --nfd --feature --require --noise --version --help --' -- "$current")
      ;;
  esac
}
complete -F _prowl prowl
