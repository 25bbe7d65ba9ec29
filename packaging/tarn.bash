# Completion of tarn's switches in bash. They are read from the program's own list, `tarn --help`.
_tarn() {
    local name value names=() after=
    while read -r name value _; do
        names+=("$name")
        [[ $name == "$3" ]] && after=$value
    done < <("$1" --help 2>/dev/null | grep '^  ')
    case $after in
    FILE | PATH | '[FILE'*) mapfile -t COMPREPLY < <(compgen -f -- "$2") ;;
    MB | [A-Z]) COMPREPLY=() ;; # a number
    *) mapfile -t COMPREPLY < <(compgen -W "${names[*]}" -- "$2") ;;
    esac
}
complete -o filenames -F _tarn tarn
