# Bash completion of orvprep: its options, and for their arguments files and values. Needs nothing
# but bash 4.

# The argument of each option: its kind, empty for none. Nothing is offered for a number or a name.
declare -gA _orvprep_takes=(
  [-h]='' [--help]='' [--version]=''
  [-o]=file [--output]=file [--test]=file
  [-c]=name [--class]=name [-w]=name [--weights]=name [-i]=name [--ignore]=name
  [--frequencies]='' [--bins]=name [--discrete]=name [--continuous]=name [--ordered]=name
  [-u]=name [--unknown]=name [--also-unknown]=name [--drop-unclassed]=''
  [-s]=separator [--separator]=separator [--header]=header [--comment]=name
  [--decimal]=decimal [--thousands]=thousands [--encoding]=encoding
  [--out-separator]=separator [--replace]=name [-q]='' [--quiet]=''
)

_orvprep() {
  local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} words=()
  COMPREPLY=()
  case ${_orvprep_takes[$before]:-} in
    file) ;;
    header) words=(auto yes no) ;;
    decimal) words=(auto . ,) ;;
    thousands) words=(auto none . , "'" blank) ;;
    encoding) words=(auto utf-8 cp1252) ;;
    separator) words=(auto tab , "';'" "'|'") ;;
    '') [[ $current == -* ]] && words=("${!_orvprep_takes[@]}") ;;
    *) return ;;
  esac
  if ((${#words[@]})); then
    mapfile -t COMPREPLY < <(compgen -W "${words[*]@Q}" -- "$current")
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}

complete -F _orvprep orvprep
