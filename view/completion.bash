# Bash completion of orvview: its options, and for their arguments files and values. Needs nothing
# but bash 4.

# The argument of each option: its kind, empty for none. Nothing is offered for a number or a name.
declare -gA _orvview_takes=(
  [-h]='' [--help]='' [--version]=''
  [-o]=file [--output]=file
  [--html]='' [--svg]='' [--rules]=rules [--cpp]='' [--python]='' [--summary]=''
  [--tree]=number [--depth]=number [--table]=name [--color]=color
  [--names]=file [--data]=file [--seed]=number [-s]=separator [--separator]=separator
)

_orvview() {
  local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} words=()
  COMPREPLY=()
  case ${_orvview_takes[$before]:-} in
    file) ;;
    rules) words=(text csv sql json) ;;
    color) words=(auto always never) ;;
    separator) words=(tab , "';'" "'|'") ;;
    '') [[ $current == -* ]] && words=("${!_orvview_takes[@]}") ;;
    *) return ;;
  esac
  if ((${#words[@]})); then
    mapfile -t COMPREPLY < <(compgen -W "${words[*]@Q}" -- "$current")
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}

complete -F _orvview orvview
