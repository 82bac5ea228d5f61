# Bash completion of orvcmd: its options, and for their arguments files and values. Needs nothing
# but bash 4.

# The arguments of each option, a word for each: its kind. Nothing is offered for a number.
declare -gA _orvcmd_takes=(
  [--help]='' [-f]=stem [-fm]=file [-fd]=file [-ft]=file [-fs]=file [-bd]=file [-sep]=separator
  [-norescale]='' [-ownunk]='' [-unseen]=''
  [-bt]=file [-m]=number [-depth]=number [-gain]='' [-grpure]=''
  [-np]='' [-npp]='' [-c]=number
  [-ebp]='' [-ebpg]='' [-ebpa]='' [-pep]='' [-pepg]='' [-pepa]=''
  [-rep]='' [-repg]='' [-repa]='' [-mep]='' [-mepg]='' [-mepa]=''
  [-costs]=file [-costw]='' [-cw]=class_weights [-laplace]=''
  [-as]=number [-fslimit]=number [-sfs]='' [-sbe]='' [-dtsbe]=''
  [-ba]=number [-fo]=number [-rf]=number [-bo]=number [-mtry]=attributes [-bag]=number
  [-free]='' [-binary]='' [-extra]='' [-soft]='' [-noreplace]='' [-balance]=''
  [-h]=number [-hf]=number [-hs]=number [-hd]=number [-cv]='number number'
  [-l]=file [-nl]='' [-lstd]='' [-t]=file [-tstd]='' [-oerr]='' [-imp]='' [-metrics]='' [-mjson]=file
  [-x]=file [-xstd]='' [-d]=file [-dstd]='' [-pmml]=file [-json]=file
  [-db]=file [-dbm]=file [-tb]=file [-s]=file [-prob]='' [-shap]=file [-shappred]='' [-shaptop]=number
  [-calibrate]=calibration [-calrows]=file [-sets]=number [-byclass]=''
  [-tt]=workers [-tti]='number workers file' [-columns]='' [-seed]=number [-resume]=file
  [-sdm2012]=number [-as2018]='number number number number'
)

_orvcmd_files() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen -f -- "$1")
}

# Names of tables: folders, and STEM wherever there is a STEM.names.
_orvcmd_stems() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen -d -- "$1"; compgen -f -X '!*.names' -- "$1" | sed 's/\.names$//')
}

_orvcmd_words() {
  local word
  for word in "${@:2}"; do
    [[ $word == "$1"* ]] && COMPREPLY+=("$word")
  done
}

_orvcmd() {
  local current=${COMP_WORDS[COMP_CWORD]} i kind kinds=()
  COMPREPLY=()
  # As the program reads: an option, then as many arguments as it takes, whatever they look like.
  for ((i = 1; i < COMP_CWORD; ++i)); do
    if ((${#kinds[@]})); then
      kinds=("${kinds[@]:1}")
    else
      read -ra kinds <<<"${_orvcmd_takes[${COMP_WORDS[i]:-?}]:-}"
    fi
  done
  kind=${kinds[0]:-option}
  case $kind in
    option) _orvcmd_words "$current" "${!_orvcmd_takes[@]}" ;;
    stem) _orvcmd_stems "$current" ;;
    file) _orvcmd_files "$current" ;;
    separator) _orvcmd_words "$current" , "';'" "'|'" "\$'\\t'" ;;
    class_weights) _orvcmd_files "$current"; _orvcmd_words "$current" balanced ;;
    attributes) _orvcmd_words "$current" sqrt log2 all ;;
    calibration) _orvcmd_words "$current" isotonic platt plain ;;
    workers) _orvcmd_words "$current" 0 1 "$(nproc)" ;;
  esac
}

complete -F _orvcmd orvcmd
