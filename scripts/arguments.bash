# Sourced by the shell scripts before they look at their arguments: --help prints the comment at the
# head of the script.
script=$(basename "$0")

# wrong WORD...  for arguments that cannot be meant; nothing has been done yet
wrong() {
  echo "$script: $*; see --help" >&2
  exit 2
}

# no_more [ARGUMENT...]  nothing is left over
no_more() {
  [ $# -eq 0 ] || wrong "unexpected argument '$1'"
}

for argument in "$@"; do
  case $argument in
    -h | --help)
      sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"
      exit 0
      ;;
  esac
done
